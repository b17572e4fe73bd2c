// Memory of Lua code: it never takes the last of it.
#pragma once

#include "context.hpp"

/// Leaves a reserve of the memory that Lua code takes.
void memory_open(LuaContext* context);
/// Raises Lua's error for memory that runs out.
[[noreturn]] void raise_memory(lua_State* L);
/// Raises it when an allocation of this process's own failed since that was last looked at (ox_memory.hpp).
void check_memory(lua_State* L);
/// Lets the running code fail so at its next instruction, once.
void memory_short(LuaContext* context);
