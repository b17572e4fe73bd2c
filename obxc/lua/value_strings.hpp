// Strings as the value printer writes them: quoted, or in long brackets.
#pragma once

#include <lua.hpp>

/// Appends the text of the string at `index`.
void printer_string(lua_State* L, int index);
