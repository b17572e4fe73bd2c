// Extended regular expressions: ox.regex.
#pragma once

#include <lua.hpp>

/// Called with the table `ox` on top.
void regex_open(lua_State* L);
