// What a script must know of the terminal: ox.width, ox.terminal.
#pragma once

#include <lua.hpp>

/// Called with the table `ox` on top.
void screen_open(lua_State* L);
