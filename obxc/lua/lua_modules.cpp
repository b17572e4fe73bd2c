#include "lua/lua_modules.hpp"

#include <dirent.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "ox_string.hpp"

namespace {

const char* const PREFIX = "ombrix.";

struct ModuleDirectory {
    char path[PATH_MAX];
};

/// Cuts the last component off a path.
void climb(char* path) {
    char* slash = strrchr(path, '/');
    if (slash) *slash = '\0';
}

/// That of the prefix below which the program is installed, else the system's.
ModuleDirectory module_directory_find() {
    ModuleDirectory found = {};
    if (readlink("/proc/self/exe", found.path, sizeof(found.path) - 1) > 0) {
        climb(found.path);
        climb(found.path);
        ox_string_strlcat(found.path, "/lib/lua/5.3/ombrix", sizeof(found.path));
        if (access(found.path, X_OK) == 0) return found;
    }
    ox_string_strlcpy(found.path, OBX_LUA_MODULE_DIR, sizeof(found.path));
    return found;
}

/// Appends templates below `root` to a field of `package` (on top of the stack).
void append_templates(lua_State* L, const char* field, const char* root, const char* second) {
    lua_getfield(L, -1, field);
    const char* old = lua_tostring(L, -1);
    lua_pushfstring(L, "%s;%s%s", old ? old : "", root, second);
    lua_setfield(L, -3, field);
    lua_pop(L, 1);
}

/// `root` (argument 1) is the directory that holds the module directory.
int add_path(lua_State* L) {
    const char* root = lua_tostring(L, 1);
    lua_getglobal(L, "package");
    append_templates(L, "path", root, "/?.lua");
    append_templates(L, "path", root, "/?/init.lua");
    append_templates(L, "cpath", root, "/?.so");
    return 0;
}

/// Requires the module whose name the light userdata (argument 1) points to, and binds it.
int preload(lua_State* L) {
    auto* module = static_cast<char*>(lua_touserdata(L, 1));
    const char* name = module + strlen(PREFIX);
    lua_getglobal(L, "require");
    lua_pushstring(L, module);
    lua_call(L, 1, 1);
    printf("> preloaded %s\n", name);
    lua_setglobal(L, name);
    return 0;
}

}  // namespace

void lua_modules_add_path(lua_State* L) {
    ModuleDirectory directory = module_directory_find();
    climb(directory.path);
    int top = lua_gettop(L);
    lua_pushcfunction(L, add_path);
    lua_pushstring(L, directory.path);
    lua_pcall(L, 1, 0, 0);
    lua_settop(L, top);
}

void lua_preload_modules(lua_State* L) {
    DIR* directory = opendir(module_directory_find().path);
    if (!directory) return;
    int top = lua_gettop(L);
    while (const struct dirent* entry = readdir(directory)) {
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
        char module[256];
        ox_string_strlcpy(module, PREFIX, sizeof(module));
        ox_string_strlcat(module, entry->d_name, sizeof(module));
        size_t length = strlen(module);
        if (length > 3 && strcmp(module + length - 3, ".so") == 0) module[length - 3] = 0;
        lua_pushcfunction(L, preload);
        lua_pushlightuserdata(L, module);
        lua_pcall(L, 1, 0, 0);
        lua_settop(L, top);
    }
    closedir(directory);
}
