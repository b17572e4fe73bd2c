// What a script must know of files beyond Lua's own: ox.file, ox.glob.
#pragma once

#include <lua.hpp>

/// Called with the table `ox` on top.
void files_open(lua_State* L);
