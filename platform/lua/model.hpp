// Instances, names, attributes and methods of the model.
#pragma once

#include "request.hpp"

void model_open(lua_State* L);
/// Calls the method with its arguments at `index` (nil there: none) and pushes a table of its outputs; false
/// (nothing is pushed) when the holder has an error.
bool execute(lua_State* L, Holder* holder, const char* path, int index);
