// What a script must know of the terminal.
#include "screen.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "context.hpp"
#include "ox_columns.hpp"
#include "ox_screen.hpp"

namespace {

/// ox.width(text): columns that it takes on a terminal.
int width(lua_State* L) {
    size_t size = 0;
    const char* text = luaL_checklstring(L, 1, &size);
    lua_pushinteger(L, static_cast<lua_Integer>(ox_text_columns(text, size)));
    return 1;
}

/// ox.terminal([file]): the columns of the terminal that standard output (or the file) is, and whether it
/// shows colours that the person wants (NO_COLOR); nil where it is none.
int terminal(lua_State* L) {
    int fd = STDOUT_FILENO;
    if (!lua_isnoneornil(L, 1)) {
        auto* stream = static_cast<luaL_Stream*>(luaL_checkudata(L, 1, LUA_FILEHANDLE));
        luaL_argcheck(L, stream->closef, 1, "a closed file");
        fd = fileno(stream->f);
    }
    if (!isatty(fd)) return 0;
    const char* unwanted = getenv("NO_COLOR");
    lua_pushinteger(L, static_cast<lua_Integer>(ox_screen_columns()));
    lua_pushboolean(L, ox_rl_get_terminal_capabilities(nullptr)->color && !(unwanted && *unwanted));
    return 2;
}

}  // namespace

void screen_open(lua_State* L) {
    static const luaL_Reg functions[] = {{"width", width}, {"terminal", terminal}, {nullptr, nullptr}};
    luaL_setfuncs(L, functions, 0);
}
