// `ox.object`: a place in the model as a Lua value.
#pragma once

#include "context.hpp"

/// The path of an object of ox.object, or null for any other value.
const char* object_path(lua_State* L, int index);
void object_open(lua_State* L);
