// Coroutines that a stop reaches, and tasks that run beside each other.
#pragma once

#include "context.hpp"

/// Resumes `co` with the `count` values on top of L; `yields`: it gives way in its waits. The number of
/// results, which are then on top of L, or -1 with the error value there.
int coroutine_resume(lua_State* L, lua_State* co, int count, bool yields);
/// Replaces coroutine.resume and coroutine.wrap by ones that keep track of what runs.
void coroutines_open(lua_State* L);
/// Adds ox.run. Called with the table `ox` on top.
void tasks_open(lua_State* L);
/// Whether code that waits has to yield, so that other coroutines go on.
bool gives_way(lua_State* L);
