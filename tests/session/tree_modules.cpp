// Takes the Lua modules from the source tree, or from the directory that the environment names, instead of
// the directory where they are installed.
#include <stdlib.h>

static const char* tree_module_dir() {
    const char* other = getenv("OBX_TEST_MODULE_DIR");
    return other ? other : OBX_TREE_MODULE_DIR;
}

#undef OBX_LUA_MODULE_DIR
#define OBX_LUA_MODULE_DIR tree_module_dir()
#include "lua/lua_modules.cpp"  // NOLINT(bugprone-suspicious-include)
