// What a script must know of files beyond Lua's own.
#include "files.hpp"

#include <errno.h>
#include <glob.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "context.hpp"
#include "ox_md5.hpp"

namespace {

const char* const NAMES = "ox.glob";

int names_gc(lua_State* L) {
    globfree(static_cast<glob_t*>(lua_touserdata(L, 1)));
    return 0;
}

int system_failure(lua_State* L, const char* path) {
    int error = errno;
    lua_pushnil(L);
    lua_pushfstring(L, "%s: %s", path, strerror(error));
    lua_pushinteger(L, error);
    return 3;
}

/// ox.file(path): {path = the way to it without links, size = bytes, md5 = the digest of what is in it}.
int file(lua_State* L) {
    require_open(L);
    const char* path = luaL_checkstring(L, 1);
    char resolved[PATH_MAX];
    struct stat info;
    uint8_t digest[OX_MD5_SIZE];
    char text[OX_MD5_TEXT_SIZE];
    if (!realpath(path, resolved) || stat(resolved, &info) != 0) return system_failure(L, path);
    if (ox_md5_calculate_from_file_region(digest, resolved, 0, 0, -1) != 0) return system_failure(L, path);
    ox_md5_to_str(text, digest);
    lua_createtable(L, 0, 3);
    lua_pushstring(L, resolved);
    lua_setfield(L, -2, "path");
    lua_pushinteger(L, info.st_size);
    lua_setfield(L, -2, "size");
    lua_pushstring(L, text);
    lua_setfield(L, -2, "md5");
    return 1;
}

/// ox.glob(pattern): the names of the files that a shell would put in its place, sorted; none is an empty
/// list.
int glob_names(lua_State* L) {
    require_open(L);
    const char* pattern = luaL_checkstring(L, 1);
    auto* names = static_cast<glob_t*>(lua_newuserdata(L, sizeof(glob_t)));
    *names = {};
    if (luaL_newmetatable(L, NAMES)) {
        lua_pushcfunction(L, names_gc);
        lua_setfield(L, -2, "__gc");
    }
    lua_setmetatable(L, -2);
    glob(pattern, 0, nullptr, names);
    lua_newtable(L);
    lua_Integer count = 0;
    for (size_t i = 0; i < names->gl_pathc; ++i) {
        lua_pushstring(L, names->gl_pathv[i]);
        lua_rawseti(L, -2, ++count);
    }
    return 1;
}

}  // namespace

void files_open(lua_State* L) {
    static const luaL_Reg functions[] = {{"file", file}, {"glob", glob_names}, {nullptr, nullptr}};
    luaL_setfuncs(L, functions, 0);
}
