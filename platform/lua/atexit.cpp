#include "atexit.hpp"

namespace {

/// Its address is the key of the list in the registry: found without memory, which may be what ended the
/// code.
const char FUNCTIONS = 0;

/// ox.atexit(function)
int at_exit(lua_State* L) {
    require_writable(L);
    luaL_checktype(L, 1, LUA_TFUNCTION);
    lua_settop(L, 1);
    lua_rawgetp(L, LUA_REGISTRYINDEX, &FUNCTIONS);
    lua_insert(L, 1);
    lua_rawseti(L, 1, static_cast<lua_Integer>(lua_rawlen(L, 1)) + 1);
    return 0;
}

/// Takes the last function out of the list and leaves it on the stack; false when there is none.
bool take_last(lua_State* L) {
    lua_rawgetp(L, LUA_REGISTRYINDEX, &FUNCTIONS);
    auto last = static_cast<lua_Integer>(lua_rawlen(L, -1));
    if (last == 0) {
        lua_pop(L, 1);
        return false;
    }
    lua_rawgeti(L, -1, last);
    lua_pushnil(L);
    lua_rawseti(L, -3, last);
    lua_remove(L, -2);
    return true;
}

size_t count_left(lua_State* L) {
    lua_rawgetp(L, LUA_REGISTRYINDEX, &FUNCTIONS);
    size_t count = lua_rawlen(L, -1);
    lua_pop(L, 1);
    return count;
}

/// Calls the last function that is left; leaves whether there was one.
int run_last(lua_State* L) {
    bool found = take_last(L);
    if (found) lua_call(L, 0, 0);
    lua_pushboolean(L, found);
    return 1;
}

}  // namespace

void atexit_open(lua_State* L) {
    lua_pushcfunction(L, at_exit);
    lua_setfield(L, -2, "atexit");
    lua_newtable(L);
    lua_rawsetp(L, LUA_REGISTRYINDEX, &FUNCTIONS);
}

void atexit_run(lua_State* L) {
    const LuaContext* context = context_of(L);
    if (!lua_checkstack(L, LUA_MINSTACK)) return;
    for (bool more = true; more && !context->stopped;) {
        size_t before = count_left(L);
        lua_pushcfunction(L, run_last);
        int rc = lua_pcall(L, 0, 1, 0);
        if (rc == LUA_OK) {
            more = lua_toboolean(L, -1) != 0;
        } else {
            const char* text = lua_tostring(L, -1);
            fprintf(stderr, "ox.atexit: %s\n", text ? text : "(error without a text)");
            // Without memory even for a call none would ever be taken.
            more = rc != LUA_ERRMEM || count_left(L) != before;
        }
        lua_pop(L, 1);
    }
}
