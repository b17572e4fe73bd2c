// The fields of a value, as candidates for the end of an expression.
#pragma once

#include <lua.hpp>

enum LuaFieldSource { LUA_FIELDS_OWN, LUA_FIELDS_METATABLE };
/// What lua_complete_expression enumerates.
extern LuaFieldSource lua_field_source;
/// A generator: `state` 0 starts an enumeration of the fields that continue `word`, 1, 2, ... continue it. A
/// heap text, or null at the end.
char* lua_complete_expression(lua_State* L, const char* word, int state);
/// Forgets an enumeration of another state.
void lua_complete_forget(void);
/// Whether a text is a name, or names joined by dots.
bool lua_is_dotted_name(const char* text);
