// The names of modules: those that are known, and those found along the search paths.
#pragma once

#include <jansson.h>

#include <lua.hpp>

/// Completes a module's name, or loads the module whose name `word` is. Runs on the Lua stack's top, and may
/// raise errors.
void lua_complete_modules(lua_State* L, const char* word, json_t* candidates);
