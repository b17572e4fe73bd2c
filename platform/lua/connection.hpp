// Where the script's connection leads, and who it is logged in as.
#pragma once

#include <lua.hpp>

/// Adds ox.connect, ox.login and ox.token to the table on top.
void connection_open(lua_State* L);
