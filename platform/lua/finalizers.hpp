// Finalizers that a stop reaches.
#pragma once

#include "context.hpp"

/// Lets a stop reach the finalizers of objects that get a metatable from now on.
void finalizers_open(lua_State* L);
/// From where the state is closed and all finalizers have run, nothing runs. Called before any other object
/// with a finalizer is made.
void finalizers_end(lua_State* L);
