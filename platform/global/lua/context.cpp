#include "context.hpp"

#include <stdlib.h>
#include <string.h>

#include "bindings.hpp"

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

enum { DEFAULT_TIMEOUT_MS = 5000 };

void stop_hook(lua_State* L, lua_Debug*) {
    stop_error(L);
}

void hook_stop(lua_State* L) {
    lua_sethook(L, stop_hook, LUA_MASKCALL | LUA_MASKRET | LUA_MASKCOUNT, 1);
}

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
    if (chunk_name && asprintf(&name, "@%s", chunk_name) < 0) name = nullptr;
    int status = luaL_loadbufferx(L, code, length, name ? name : "=lua", "t");
    free(name);
    return status;
}

/// Everything of a run that may raise an error happens below a protected call.
int open_state(lua_State* L) {
    luaL_openlibs(L);
    coroutines_open(L);
    output_open(context_of(L));
    bindings_open(L);
    return 0;
}

}  // namespace

void stop_follow(lua_State* from, lua_State* to) {
    lua_Hook hook = lua_gethook(from);
    if (context_of(to)->stopped) {
        hook_stop(to);
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

ox_lua_ctx* ox_lua_init(int flags) {
    auto* context = static_cast<LuaContext*>(calloc(1, sizeof(LuaContext)));
    if (!context) return nullptr;
    context->out = ox_str_init();
    context->err = ox_str_init();
    context->flags = flags;
    context->timeout_ms = DEFAULT_TIMEOUT_MS;
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
    hook_stop(context->running);
}

void ox_lua_stop(ox_lua_ctx* ctx) {
    LuaContext* context = full(ctx);
    context->once = 0;
    context->stopped = 1;
    hook_stop(context->running);
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

void ox_lua_free(ox_lua_ctx* ctx) {
    if (!ctx) return;
    LuaContext* context = full(ctx);
    if (context->L) {
        ox_lua_finish(ctx);
        lua_close(context->L);
    }
    // What finalizers printed.
    if (context->flags & OX_LUA_STREAM) output_drain(context);
    output_close(context);
    events_give_back(context);
    ox_str_free(context->out);
    ox_str_free(context->err);
    free(context);
}
