// Functions of the table `table` that a stop reaches.
#pragma once

#include "context.hpp"

/// Puts them in the place of Lua's own.
void tables_open(lua_State* L);
