// Takes the Lua modules from the source tree instead of the directory where they are installed.
#undef OBX_LUA_MODULE_DIR
#define OBX_LUA_MODULE_DIR OBX_TREE_MODULE_DIR
#include "lua/lua_modules.cpp"  // NOLINT(bugprone-suspicious-include)
