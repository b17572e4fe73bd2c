// Values of the daemon handed to Lua one by one while they arrive: ox.each.
#pragma once

#include <lua.hpp>

/// Called with the table `ox` on top.
void elements_open(lua_State* L);
