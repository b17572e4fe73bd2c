#include "lua/traceback.hpp"

#include <string.h>

#include "ox_colors.hpp"

namespace {

/// Leaves the message, a string or number, as the only value on the stack.
void message_of_error(lua_State* L) {
    bool tells = !lua_isnoneornil(L, 1) && (lua_isstring(L, 1) || luaL_callmeta(L, 1, "__tostring"));
    if (!tells) lua_pushliteral(L, "(no error message)");
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

/// The beginning of Lua 5.3's record of a call, which lua_Debug refers to.
struct CallLink {
    void* function;
    void* top;
    CallLink* previous;
};

const CallLink* link_of(const lua_Debug* frame) {
    CallLink* link = nullptr;
    memcpy(&link, &frame->i_ci, sizeof(link));
    return link;
}

/// Tells whether calls are linked as CallLink says in the Lua that runs here.
bool links_are_known(lua_State* L) {
    lua_Debug first;
    lua_Debug second;
    lua_Debug third;
    return lua_getstack(L, 0, &first) && lua_getstack(L, 1, &second) && lua_getstack(L, 2, &third) &&
           link_of(&first)->previous == link_of(&second) && link_of(&second)->previous == link_of(&third);
}

/// Goes from the frame at `level` to the next one. lua_getstack walks from the innermost frame each time,
/// which takes minutes for the hundreds of thousands of frames of an endless recursion.
bool next_frame(lua_State* L, int level, lua_Debug* frame, bool links_known) {
    if (!links_known) return lua_getstack(L, level + 1, frame) != 0;
    const CallLink* link = link_of(frame)->previous;
    if (!link || !link->previous) return false;
    memcpy(&frame->i_ci, &link, sizeof(link));
    return true;
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
    bool found = lua_getstack(L, 0, &frame) != 0;
    if (!found) luaL_addstring(&text, "No activation records.\n");
    bool links_known = links_are_known(L);
    for (int level = 0; found; ++level) {
        lua_getinfo(L, "Snlt", &frame);
        add_frame(&text, L, &frame, level);
        found = next_frame(L, level, &frame, links_known);
    }
    luaL_pushresult(&text);
    return 1;
}
