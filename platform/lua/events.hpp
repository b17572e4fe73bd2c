// Events for Lua code.
#pragma once

#include "context.hpp"

void events_open(lua_State* L);
/// Gives the events that were kept to the process's other readers.
void events_give_back(LuaContext* context);
