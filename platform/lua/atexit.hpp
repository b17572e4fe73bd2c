// `ox.atexit`: functions that run when the code has come to its end, whatever ended it.
#pragma once

#include "context.hpp"

/// Called with the table `ox` on top.
void atexit_open(lua_State* L);
/// Runs the functions given to ox.atexit, in the coroutine that ends the process.
void atexit_run(lua_State* L);
