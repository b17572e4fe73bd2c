// Functions of the table `string` that a stop reaches.
#pragma once

#include "context.hpp"

/// Puts them in the place of Lua's own.
void strings_open(lua_State* L);
