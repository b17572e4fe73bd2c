// Finalizers that a stop reaches. Lua runs them with its debug hooks switched off; those of a coroutine are
// on. So setmetatable puts a function into "__gc" that runs the given one in a coroutine.
#include "finalizers.hpp"

#include "coroutines.hpp"
#include "wrapped.hpp"

namespace {

const char* const SPARE = "ox.finalizer";  // in the registry: a coroutine that is free, or nothing
const char* const LAST = "ox.closed";      // in the registry: the object whose finalizer runs last

/// Leaves a coroutine that runs nothing on the stack.
lua_State* take_coroutine(lua_State* L) {
    lua_State* co = nullptr;
    if (lua_getfield(L, LUA_REGISTRYINDEX, SPARE) == LUA_TTHREAD) {
        co = lua_tothread(L, -1);
        lua_pushnil(L);
        lua_setfield(L, LUA_REGISTRYINDEX, SPARE);
        return co;
    }
    lua_pop(L, 1);
    return lua_newthread(L);
}

/// "__gc": calls the upvalue with the arguments.
int finalize(lua_State* L) {
    int count = lua_gettop(L);
    lua_State* co = take_coroutine(L);
    lua_insert(L, 1);
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_xmove(L, co, 1);
    int results = coroutine_resume(L, co, count, false);
    if (results < 0) return lua_error(L);
    if (lua_status(co) == LUA_YIELD) return luaL_error(L, "attempt to yield from outside a coroutine");
    lua_pushvalue(L, 1);
    lua_setfield(L, LUA_REGISTRYINDEX, SPARE);
    return results;
}

/// Wraps the finalizer of the metatable at `index`, when that is a function written in Lua.
void watch_finalizer(lua_State* L, int index) {
    if (!lua_istable(L, index)) return;
    lua_pushliteral(L, "__gc");
    if (lua_rawget(L, index) == LUA_TFUNCTION && !lua_iscfunction(L, -1)) {
        lua_pushliteral(L, "__gc");
        lua_insert(L, -2);
        lua_pushcclosure(L, finalize, 1);
        lua_rawset(L, index);
    } else {
        lua_pop(L, 1);
    }
}

/// setmetatable and debug.setmetatable; the original is the upvalue.
int set_metatable(lua_State* L) {
    watch_finalizer(L, 2);
    return call_original(L);
}

int closed(lua_State* L) {
    context_of(L)->running = nullptr;
    return 0;
}

}  // namespace

void finalizers_open(lua_State* L) {
    lua_getglobal(L, "setmetatable");
    lua_pushcclosure(L, set_metatable, 1);
    lua_setglobal(L, "setmetatable");
    lua_getglobal(L, "debug");
    wrap_field(L, "setmetatable", set_metatable);
    lua_pop(L, 1);
}

void finalizers_end(lua_State* L) {
    lua_newuserdata(L, 0);
    lua_createtable(L, 0, 1);
    lua_pushcfunction(L, closed);
    lua_setfield(L, -2, "__gc");
    lua_setmetatable(L, -2);
    lua_setfield(L, LUA_REGISTRYINDEX, LAST);
}
