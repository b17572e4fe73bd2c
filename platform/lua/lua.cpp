#include <stdlib.h>
#include <string.h>

#include "atexit.hpp"
#include "bindings.hpp"
#include "context.hpp"
#include "coroutines.hpp"
#include "events.hpp"
#include "finalizers.hpp"
#include "input.hpp"
#include "memory.hpp"
#include "output.hpp"
#include "ox_lua.hpp"
#include "ox_memory.hpp"
#include "string_functions.hpp"
#include "table_functions.hpp"

namespace {

LuaContext* full(ox_lua_ctx* ctx) {
    return static_cast<LuaContext*>(ctx);
}

/// Turns any error value into a text.
int message_handler(lua_State* L) {
    if (lua_type(L, 1) != LUA_TSTRING && lua_type(L, 1) != LUA_TNUMBER &&
        (!luaL_callmeta(L, 1, "__tostring") || lua_type(L, -1) != LUA_TSTRING)) {
        lua_pushfstring(L, "(error object is a %s value)", luaL_typename(L, 1));
    }
    return 1;
}

int traceback_handler(lua_State* L) {
    message_handler(L);
    const char* message = lua_tostring(L, -1);
    luaL_traceback(L, L, message, 1);
    return 1;
}

/// The words as the chunk's arguments and as the table `arg`; returns how many were pushed.
int push_arguments(lua_State* L, const char* chunk_name, json_t* args) {
    int count = static_cast<int>(json_array_size(args));
    lua_createtable(L, count, 1);
    lua_pushstring(L, chunk_name ? chunk_name : "lua");
    lua_rawseti(L, -2, 0);
    for (int i = 0; i < count; ++i) {
        json_t* word = json_array_get(args, static_cast<size_t>(i));
        lua_pushlstring(L, json_string_value(word), json_string_length(word));
        lua_rawseti(L, -2, i + 1);
    }
    lua_setglobal(L, "arg");
    for (int i = 0; i < count; ++i) {
        json_t* word = json_array_get(args, static_cast<size_t>(i));
        lua_pushlstring(L, json_string_value(word), json_string_length(word));
    }
    return count;
}

int load(lua_State* L, const char* code, size_t length, const char* chunk_name) {
    char* name = nullptr;
    if (chunk_name && asprintf(&name, "@%s", chunk_name) < 0) {
        lua_pushliteral(L, "not enough memory");
        return LUA_ERRMEM;
    }
    int status = luaL_loadbufferx(L, code, length, name ? name : "=lua", "t");
    free(name);
    return status;
}

/// Everything of a run that may raise an error happens below a protected call.
int open_state(lua_State* L) {
    finalizers_end(L);
    luaL_openlibs(L);
    coroutines_open(L);
    strings_open(L);
    tables_open(L);
    finalizers_open(L);
    output_open(context_of(L));
    input_open(L);
    bindings_open(L);
    return 0;
}

}  // namespace

ox_lua_ctx* ox_lua_init(int flags) {
    auto* context = static_cast<LuaContext*>(calloc(1, sizeof(LuaContext)));
    if (!context) return nullptr;
    ox_memory_bear(true);
    context->out = ox_str_init();
    context->err = ox_str_init();
    context->flags = flags;
    context->timeout_ms = OX_JRPCAPI_TIMEOUT_MS;
    context->L = luaL_newstate();
    if (!context->L) {
        ox_lua_free(context);
        return nullptr;
    }
    context->running = context->L;
    memcpy(lua_getextraspace(context->L), &context, sizeof(context));
    memory_open(context);
    lua_pushcfunction(context->L, open_state);
    if (lua_pcall(context->L, 0, 0, 0) != LUA_OK) {
        ox_lua_free(context);
        return nullptr;
    }
    output_apply(context);
    return context;
}

int ox_lua_exec(ox_lua_ctx* ctx, const char* code, size_t length, const char* chunk_name, json_t* args) {
    LuaContext* context = full(ctx);
    lua_State* L = context->L;
    ox_str_clear(context->out);
    ox_str_clear(context->err);
    int top = lua_gettop(L);
    bool collects = ox_lua_hold(L);
    lua_pushcfunction(L, chunk_name ? traceback_handler : message_handler);
    int status = load(L, code, length, chunk_name);
    int count = 0;
    if (status == LUA_OK && args) {
        bool room = lua_checkstack(L, static_cast<int>(json_array_size(args)) + LUA_MINSTACK) != 0;
        if (room) {
            count = push_arguments(L, chunk_name, args);
        } else {
            lua_pushliteral(L, "too many arguments");
            status = LUA_ERRRUN;
        }
    }
    ox_lua_collect(L, collects);
    if (status == LUA_OK) status = lua_pcall(L, count, 0, top + 1);
    output_sync(context);
    collects = ox_lua_hold(L);
    if (status != LUA_OK) {
        if (context->flags & OX_LUA_STREAM) output_drain(context);
        size_t size = 0;
        const char* text = lua_tolstring(L, -1, &size);
        ox_str_add_n(context->err, text ? text : "(error in error handling)", text ? size : 25);
    }
    lua_settop(L, top);
    ox_lua_collect(L, collects);
    return status;
}

void ox_lua_set_flags(ox_lua_ctx* ctx, int flags) {
    full(ctx)->flags = flags;
    bool collects = ox_lua_hold(ctx->L);
    output_apply(full(ctx));
    ox_lua_collect(ctx->L, collects);
}

bool ox_lua_hold(lua_State* L) {
    bool ran = lua_gc(L, LUA_GCISRUNNING, 0) != 0;
    lua_gc(L, LUA_GCSTOP, 0);
    context_of(L)->holds = true;
    return ran;
}

void ox_lua_collect(lua_State* L, bool ran) {
    context_of(L)->holds = false;
    if (ran) lua_gc(L, LUA_GCRESTART, 0);
}

void ox_lua_drain(ox_lua_ctx* ctx) {
    if (full(ctx)->flags & OX_LUA_STREAM) output_drain(full(ctx));
}

int ox_lua_get_flags(const ox_lua_ctx* ctx) {
    return static_cast<const LuaContext*>(ctx)->flags;
}

void ox_lua_set_timeout(ox_lua_ctx* ctx, int timeout_ms) {
    full(ctx)->timeout_ms = timeout_ms;
}

void ox_lua_set_guard(ox_lua_ctx* ctx, ox_lua_guard guard) {
    full(ctx)->guard = guard;
}

void ox_lua_interrupt(ox_lua_ctx* ctx) {
    LuaContext* context = full(ctx);
    context->once = 1;
    context->stopped = 1;
    stop_soon(context->running);
}

void ox_lua_stop(ox_lua_ctx* ctx) {
    LuaContext* context = full(ctx);
    context->once = 0;
    context->stopped = 1;
    stop_soon(context->running);
}

bool ox_lua_stopped(const ox_lua_ctx* ctx) {
    return static_cast<const LuaContext*>(ctx)->stopped != 0;
}

void ox_lua_resume(ox_lua_ctx* ctx) {
    LuaContext* context = full(ctx);
    context->once = 0;
    context->stopped = 0;
    context->running = context->L;
    context->yields = false;
    lua_sethook(context->L, nullptr, 0, 0);
}

void ox_lua_finish(ox_lua_ctx* ctx) {
    LuaContext* context = full(ctx);
    atexit_run(context->L);
    output_sync(context);
    if (context->flags & OX_LUA_STREAM) output_drain(context);
}

bool ox_lua_in_heap(ox_lua_ctx* ctx, void (*left)(void)) {
    LuaContext* context = full(ctx);
    context->heap_left = left;
    if (context->in_heap) return true;
    context->heap_left = nullptr;
    return false;
}

void ox_lua_abandon(ox_lua_ctx* ctx) {
    static LuaContext* last = nullptr;  // they are kept: what they hold may be in use somewhere
    full(ctx)->abandoned = last;
    last = full(ctx);
    ox_memory_bear(false);
}

void ox_lua_close(ox_lua_ctx* ctx) {
    if (!ctx->L) return;
    ox_lua_finish(ctx);
    lua_close(ctx->L);
    ctx->L = nullptr;
}

void ox_lua_free(ox_lua_ctx* ctx) {
    if (!ctx) return;
    LuaContext* context = full(ctx);
    ox_lua_close(ctx);
    // Finalizers may have printed when the state was closed.
    if (context->flags & OX_LUA_STREAM) output_drain(context);
    output_close(context);
    events_give_back(context);
    ox_str_free(context->out);
    ox_str_free(context->err);
    free(context);
    ox_memory_bear(false);
}
