#include "plain.hpp"

#include <stdint.h>
#include <string.h>

#include "ox_out.hpp"

namespace {

enum { WIDEST = 4 };  // bytes that are written for one

/// ox.plain(text): the text as it can be printed on a terminal that it must not steer.
int plain(lua_State* L) {
    size_t size = 0;
    const char* text = luaL_checklstring(L, 1, &size);
    luaL_argcheck(L, size < SIZE_MAX / WIDEST, 1, "text too long");
    luaL_Buffer buffer;
    char* room = luaL_buffinitsize(L, &buffer, size * WIDEST + 1);
    ox_str* shown = ox_out_escape_lines(text, size);
    size_t length = ox_str_length(shown);
    memcpy(room, ox_dynarray_get(shown), length);
    ox_str_free(shown);
    luaL_pushresultsize(&buffer, length);
    return 1;
}

}  // namespace

void plain_open(lua_State* L) {
    lua_pushcfunction(L, plain);
    lua_setfield(L, -2, "plain");
}
