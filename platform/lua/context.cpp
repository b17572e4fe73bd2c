#include "context.hpp"

#include <stdlib.h>
#include <string.h>

#include "output.hpp"

LuaContext* context_of(lua_State* L) {
    LuaContext* context = nullptr;
    memcpy(&context, lua_getextraspace(L), sizeof(context));
    return context;
}

int stop_error(lua_State* L) {
    LuaContext* context = context_of(L);
    if (context->once) {
        context->once = 0;
        context->stopped = 0;
        lua_sethook(L, nullptr, 0, 0);
        lua_sethook(context->running, nullptr, 0, 0);
    }
    return luaL_error(L, "interrupted!");
}

namespace {

void stop_hook(lua_State* L, lua_Debug*) {
    stop_error(L);
}

}  // namespace

void stop_soon(lua_State* L) {
    if (!L) return;
    lua_sethook(L, stop_hook, LUA_MASKCALL | LUA_MASKRET | LUA_MASKCOUNT, 1);
}

void stop_follow(lua_State* from, lua_State* to) {
    lua_Hook hook = lua_gethook(from);
    if (context_of(to)->stopped) {
        stop_soon(to);
    } else if (hook && lua_gethook(to) != hook) {
        lua_sethook(to, hook, lua_gethookmask(from), lua_gethookcount(from));
    }
}

bool run_guarded(lua_State* L, void (*run)(void*), void* argument) {
    LuaContext* context = context_of(L);
    if (context->stopped) return false;
    if (context->flags & OX_LUA_STREAM) output_drain(context);
    if (!context->guard) {
        run(argument);
        return true;
    }
    if (context->guard(run, argument)) return true;
    if (!context->stopped) ox_lua_stop(context);
    return false;
}

void guarded(lua_State* L, void (*run)(void*), void* argument) {
    if (!run_guarded(L, run, argument)) stop_error(L);
}

void require_writable(lua_State* L) {
    if (context_of(L)->flags & OX_LUA_READ_ONLY) luaL_error(L, "nothing is changed while completing");
}

void require_open(lua_State* L) {
    if (context_of(L)->flags & OX_LUA_CLOSED) luaL_error(L, "not while completing");
}
