// The modules of the module directory: lib/lua/5.3/ombrix below the prefix where the program is installed if
// that is there, else OBX_LUA_MODULE_DIR.
#pragma once

#include <lua.hpp>

/// Makes `require "ombrix.x"` find the modules of the module directory.
void lua_modules_add_path(lua_State* L);
/// Requires every entry of the module directory and binds each module to a global of its short name.
void lua_preload_modules(lua_State* L);
