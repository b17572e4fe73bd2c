// The message handler of statements in Lua mode.
#pragma once

#include <lua.hpp>

/// Turns the error value (the first argument) into one text: the message and a trace of every active frame.
int lua_traceback_handler(lua_State* L);
