// The table `ox`.
#pragma once

#include <lua.hpp>

/// Makes the global `ox`.
void bindings_open(lua_State* L);
