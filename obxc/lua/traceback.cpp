#include "lua/traceback.hpp"

#include <string.h>

#include "ox_colors.hpp"

namespace {

/// Leaves the message, a string or number, as the only value on the stack.
void message_of_error(lua_State* L) {
    if (lua_isnoneornil(L, 1)) {
        lua_pushliteral(L, "(no error message)");
    } else if (!lua_isstring(L, 1) && !luaL_callmeta(L, 1, "__tostring")) {
        lua_pushliteral(L, "(no error message)");
    }
    if (lua_gettop(L) >= 2) {
        lua_replace(L, 1);
        lua_settop(L, 1);
    }
    // A "__tostring" may give anything.
    if (!lua_isstring(L, 1)) {
        lua_pushliteral(L, "(no error message)");
        lua_replace(L, 1);
    }
}

void add_frame(luaL_Buffer* text, lua_State* L, const lua_Debug* frame, int level) {
    const char* on = ox_colors_enabled() ? "\x1b[1m" : "";
    const char* off = ox_colors_enabled() ? "\x1b[22m" : "";
    if (frame->istailcall) luaL_addstring(text, "\t... tail calls\n");
    bool is_c = strcmp(frame->what, "C") == 0;
    bool is_main = strcmp(frame->what, "main") == 0;
    if (!is_c && !is_main && strcmp(frame->what, "Lua") != 0) return;
    if (is_c) {
        lua_pushfstring(L, "\t#%d %s[C]:%s in function ", level, on, off);
    } else if (is_main) {
        lua_pushfstring(L, "\t#%d %s%s:%d:%s in the main chunk\n", level, on, frame->short_src,
                        frame->currentline, off);
    } else {
        lua_pushfstring(L, "\t#%d %s%s:%d:%s in function ", level, on, frame->short_src, frame->currentline,
                        off);
    }
    luaL_addvalue(text);
    if (is_main) return;
    if (frame->name) {
        lua_pushfstring(L, "'%s%s%s'\n", on, frame->name, off);
    } else {
        lua_pushfstring(L, "%s?%s\n", on, off);
    }
    luaL_addvalue(text);
}

}  // namespace

// The parts are joined in a buffer, not on the stack: after a stack overflow there is hardly any of it left.
int lua_traceback_handler(lua_State* L) {
    message_of_error(L);
    luaL_Buffer text;
    luaL_buffinit(L, &text);
    lua_pushvalue(L, 1);
    luaL_addvalue(&text);
    luaL_addstring(&text, "\n\nStack trace:\n");
    lua_Debug frame;
    int level = 0;
    for (; lua_getstack(L, level, &frame); ++level) {
        lua_getinfo(L, "Snlt", &frame);
        add_frame(&text, L, &frame, level);
    }
    if (level == 0) luaL_addstring(&text, "No activation records.\n");
    luaL_pushresult(&text);
    return 1;
}
