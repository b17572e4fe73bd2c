// Functions of Lua's own libraries with something around them.
#pragma once

#include <lua.hpp>

/// Calls the replaced function, the upvalue, in this call's place, so that its errors name the caller's line.
int call_original(lua_State* L);
/// Replaces field `name` of the table on top by `function`, whose upvalue is the old value.
void wrap_field(lua_State* L, const char* name, lua_CFunction function);
