// coroutine.resume and coroutine.wrap that know which coroutine runs, so that a stop reaches it, and
// functions that run side by side. A coroutine that was resumed gives way in its waits; one that was wrapped
// does not, because who calls it expects a value.
#include "coroutines.hpp"

namespace {

int co_resume(lua_State* L) {
    lua_State* co = lua_tothread(L, 1);
    luaL_argcheck(L, co, 1, "coroutine expected");
    int results = coroutine_resume(L, co, lua_gettop(L) - 1, true);
    lua_pushboolean(L, results >= 0);
    int count = results >= 0 ? results : 1;
    lua_insert(L, -(count + 1));
    return count + 1;
}

int wrapped(lua_State* L) {
    int results = coroutine_resume(L, lua_tothread(L, lua_upvalueindex(1)), lua_gettop(L), false);
    if (results >= 0) return results;
    if (lua_type(L, -1) == LUA_TSTRING) {
        luaL_where(L, 1);
        lua_insert(L, -2);
        lua_concat(L, 2);
    }
    return lua_error(L);
}

int co_wrap(lua_State* L) {
    luaL_checktype(L, 1, LUA_TFUNCTION);
    lua_State* co = lua_newthread(L);
    lua_pushvalue(L, 1);
    lua_xmove(L, co, 1);
    lua_pushcclosure(L, wrapped, 1);
    return 1;
}

/// Resumes those of the coroutines at 1 to `count` that have not ended, in turn, until all have.
int run_on(lua_State* L, int, lua_KContext count) {
    lua_settop(L, static_cast<int>(count));
    for (bool alive = true; alive;) {
        alive = false;
        for (int i = 1; i <= count; ++i) {
            lua_State* co = lua_tothread(L, i);
            if (!co) continue;
            int results = coroutine_resume(L, co, 0, true);
            if (results < 0) return lua_error(L);
            lua_pop(L, results);
            if (lua_status(co) == LUA_YIELD) {
                alive = true;
            } else {
                lua_pushboolean(L, 0);
                lua_replace(L, i);
            }
        }
        if (alive && gives_way(L)) return lua_yieldk(L, 0, count, run_on);
    }
    return 0;
}

/// ox.run(function...): calls the functions side by side.
int run(lua_State* L) {
    int count = lua_gettop(L);
    luaL_checkstack(L, LUA_MINSTACK, "too many functions");
    for (int i = 1; i <= count; ++i) {
        luaL_checktype(L, i, LUA_TFUNCTION);
        lua_State* co = lua_newthread(L);
        lua_pushvalue(L, i);
        lua_xmove(L, co, 1);
        lua_replace(L, i);
    }
    return run_on(L, LUA_OK, count);
}

}  // namespace

int coroutine_resume(lua_State* L, lua_State* co, int count, bool yields) {
    if (!lua_checkstack(co, count)) {
        lua_pushliteral(L, "too many arguments to resume");
        return -1;
    }
    if (lua_status(co) == LUA_OK && lua_gettop(co) == 0) {
        lua_pushliteral(L, "cannot resume dead coroutine");
        return -1;
    }
    LuaContext* context = context_of(L);
    lua_State* outer = context->running;
    bool outer_yields = context->yields;
    stop_follow(L, co);
    lua_xmove(L, co, count);
    context->running = co;
    context->yields = yields;
    int status = lua_resume(co, L, count);
    context->running = outer;
    context->yields = outer_yields;
    if (context->stopped) stop_follow(co, L);
    if (status != LUA_OK && status != LUA_YIELD) {
        lua_xmove(co, L, 1);
        return -1;
    }
    int results = lua_gettop(co);
    if (!lua_checkstack(L, results + 1)) {
        lua_pop(co, results);
        lua_pushliteral(L, "too many results to resume");
        return -1;
    }
    lua_xmove(co, L, results);
    return results;
}

bool gives_way(lua_State* L) {
    return context_of(L)->yields && lua_isyieldable(L);
}

void tasks_open(lua_State* L) {
    lua_pushcfunction(L, run);
    lua_setfield(L, -2, "run");
}

void coroutines_open(lua_State* L) {
    lua_getglobal(L, "coroutine");
    lua_pushcfunction(L, co_resume);
    lua_setfield(L, -2, "resume");
    lua_pushcfunction(L, co_wrap);
    lua_setfield(L, -2, "wrap");
    lua_pop(L, 1);
}
