// Values of parameters: `ox.get`, `ox.set` and their brothers.
#pragma once

#include "request.hpp"

/// Pushes the value of the parameter at `path`; false (nothing is pushed) when the holder has an error.
bool push_value(lua_State* L, Holder* holder, const char* path);
/// Adds the entries of the table at `index`, nested tables as objects below, to a list of names and values.
void add_values(lua_State* L, int index, json_t* list, const char* prefix);
void values_open(lua_State* L);
