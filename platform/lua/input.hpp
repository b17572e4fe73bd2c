// What Lua code reads.
#pragma once

#include "context.hpp"

/// Replaces what reads files and opens them.
void input_open(lua_State* L);
