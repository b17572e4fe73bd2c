// Numbers in JSON, whatever the locale's decimal point is.
#pragma once

#include <stddef.h>

#include <lua.hpp>

enum { JSON_NUMBER_MAX = 40 };

/// Writes a float with 15 digits where these say the same, else with 17, into JSON_NUMBER_MAX bytes; always
/// with a point or an exponent. Returns the bytes, 0 for what is not finite.
size_t json_write_real(char* to, double number);
/// Pushes the number that begins at `text`, an integer where it has neither a point nor an exponent. Behind
/// it; null (nothing is pushed) where none begins, or it is out of range.
const char* json_push_number(lua_State* L, const char* text, const char* end);
