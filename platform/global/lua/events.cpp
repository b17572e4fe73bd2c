// ox.on and ox.wait: events from the daemon.
//
// Events are taken in on the process's events connection, wherever they arrive. A process without one makes
// the context's connection that one.
#include "bindings.hpp"
#include "ox_wait.hpp"

namespace {

const char* const HANDLERS = "ox.handlers";
enum { PREDICATE_STEP_MS = 200 };  // a predicate is asked at least that often
enum { KEPT_MAX = 10000 };         // events that wait for other readers
enum { SWEEP_MS = 1000 };          // so long events that are there are handed over, though time is over

ox_jrpcapi* events_connection(lua_State* L) {
    LuaContext* context = context_of(L);
    ox_jrpcapi* api = ox_jrpcapi_events();
    if (api) return api;
    if (!context->api) luaL_error(L, "there is no connection to the daemon");
    ox_jrpcapi_set_flags(context->api, ox_jrpcapi_get_flags(context->api) | OX_JRPCAPI_EVENTS);
    return context->api;
}

/// Keeps an event for the process's other readers until the context is freed.
void keep_event(LuaContext* context, const ox_jrpcmsg* event) {
    if (!(context->flags & OX_LUA_KEEP_EVENTS) || event->group == 0) return;
    if (!context->kept) context->kept = json_array();
    if (json_array_size(context->kept) >= KEPT_MAX) {
        json_array_remove(context->kept, 0);
        ox_jrpcapi_lose_event();
    }
    json_array_append_new(context->kept, ox_jrpcmsg_json(event));
}

/// Hands an event to its function. Returns whether it had one.
bool dispatch(lua_State* L, Holder* holder) {
    uint32_t group = holder->message->group;
    keep_event(context_of(L), holder->message);
    luaL_getsubtable(L, LUA_REGISTRYINDEX, HANDLERS);
    if (lua_rawgeti(L, -1, group) == LUA_TNIL) {
        lua_pop(L, 2);
        holder_clear(holder);
        return false;
    }
    json_t* params = ox_jrpcmsg_get_params_json(holder->message);
    if (params) {
        json_to_lua(L, params);
    } else {
        lua_pushnil(L);
    }
    lua_pushinteger(L, group);
    holder_clear(holder);
    lua_call(L, 2, 0);
    lua_pop(L, 1);
    return true;
}

struct Pause {
    ox_jrpcapi* api;
    int ms;
};

void run_pause(void* argument) {
    auto* pause = static_cast<Pause*>(argument);
    ox_socket* socket = ox_jrpcapi_socket(pause->api);
    struct pollfd entry = {socket ? ox_socket_fd(socket) : -1, POLLIN, 0};
    ox_wait_poll(&entry, 1, pause->ms);
}

/// In a shell its own loop tells.
void tell_lost(const LuaContext* context) {
    size_t lost = context->flags & OX_LUA_KEEP_EVENTS ? 0 : ox_jrpcapi_take_lost_events();
    if (lost > 0) fprintf(stderr, "%zu events are lost: more came than can wait.\n", lost);
}

/// Takes one event that is there. 1: it had a function, 0: it had none, -1: nothing is there, -2: the
/// connection is lost.
int take_event(lua_State* L, ox_jrpcapi* api, Holder* holder) {
    tell_lost(context_of(L));
    holder->message = ox_jrpcapi_recv(api);
    if (holder->message) return dispatch(L, holder) ? 1 : 0;
    int error = ox_jrpcapi_get_socket_err(api);
    return error == OX_SOCKET_EEMPTY || error == OX_SOCKET_EPARTIAL ? -1 : -2;
}

/// ox.on(group, function or nil)
int on(lua_State* L) {
    require_writable(L);
    lua_Integer group = luaL_checkinteger(L, 1);
    luaL_argcheck(L, group >= 1 && group <= 4294967295, 1, "a group of 1 to 4294967295 expected");
    bool leave = lua_isnil(L, 2);
    if (!leave) luaL_checktype(L, 2, LUA_TFUNCTION);
    lua_settop(L, 2);
    ox_jrpcapi* api = events_connection(L);
    Holder* holder = holder_push(L);  // 3
    // What came earlier is not for the new function.
    long long end = ox_wait_now_ms() + SWEEP_MS;
    while (take_event(L, api, holder) >= 0 && ox_wait_now_ms() < end) {
    }
    luaL_getsubtable(L, LUA_REGISTRYINDEX, HANDLERS);
    bool joined = lua_rawgeti(L, 4, group) != LUA_TNIL || ox_jrpcapi_has_joined(static_cast<uint32_t>(group));
    lua_pop(L, 1);
    if (!joined && !leave && !exchange(L, holder, ox_jrpcmsg_cmd_join_group(static_cast<uint32_t>(group)))) {
        return failure(L, holder);
    }
    holder_clear(holder);
    lua_pushvalue(L, 2);
    lua_rawseti(L, 4, group);
    lua_pushboolean(L, 1);
    return 1;
}

/// Calls the predicate (argument 1); leaves its value on the stack when it is true.
bool predicate_holds(lua_State* L) {
    lua_pushvalue(L, 1);
    lua_call(L, 0, 1);
    if (lua_toboolean(L, -1)) return true;
    lua_pop(L, 1);
    return false;
}

void run_connect(void* argument) {
    ox_jrpcapi_connect(static_cast<ox_jrpcapi*>(argument));
}

/// Connects again what an earlier call found lost, for the groups that were joined on it. Not in a shell: its
/// own loop answers the loss. Returns 0 or the socket error.
int reconnect(lua_State* L, ox_jrpcapi* api) {
    if ((context_of(L)->flags & OX_LUA_KEEP_EVENTS) || ox_jrpcapi_socket(api)) return OX_SOCKET_OK;
    guarded(L, run_connect, api);
    return ox_jrpcapi_socket(api) ? static_cast<int>(OX_SOCKET_OK) : ox_jrpcapi_get_socket_err(api);
}

/// When a wait is over: when its time is, and what was there has been handed over, or that takes too long.
struct Deadline {
    bool endless;
    bool swept;  ///< nothing was left at some moment
    long long end;
    long long sweep_end;
};

Deadline deadline_in(lua_Number seconds) {
    long long now = ox_wait_now_ms();
    return {seconds < 0, false, now + static_cast<long long>(seconds * 1000), now + SWEEP_MS};
}

/// The milliseconds until then, at most `step`; 0 or less when it is over.
long long deadline_left(const Deadline* deadline, long long step) {
    if (deadline->endless) return step;
    long long end =
        deadline->swept || deadline->end > deadline->sweep_end ? deadline->end : deadline->sweep_end;
    long long left = end - ox_wait_now_ms();
    return left < step ? left : step;
}

/// ox.wait(seconds): the number of events that were handed over. ox.wait(predicate [, seconds]): the
/// predicate's value once it is true, or false.
int wait(lua_State* L) {
    require_writable(L);
    bool predicate = lua_isfunction(L, 1);
    int index = predicate ? 2 : 1;
    bool endless = predicate && lua_isnoneornil(L, 2);
    lua_Number seconds = endless ? 0 : luaL_checknumber(L, index);
    luaL_argcheck(L, seconds >= 0 && seconds < 1e9, index, "seconds expected");
    lua_settop(L, 2);
    ox_jrpcapi* api = events_connection(L);
    int error = reconnect(L, api);
    if (error != OX_SOCKET_OK) return failure_text(L, ox_socket_strerror(error), error);
    Holder* holder = holder_push(L);
    Deadline deadline = deadline_in(endless ? -1 : seconds);
    lua_Integer count = 0;
    for (;;) {
        if (predicate && predicate_holds(L)) return 1;
        int taken = take_event(L, api, holder);
        if (taken == -2) return failure_text(L, "the connection to the daemon is lost", OX_SOCKET_ECLOSED);
        if (taken >= 0) count += taken;
        if (taken == -1) deadline.swept = true;
        long long left =
            deadline_left(&deadline, predicate ? static_cast<long long>(PREDICATE_STEP_MS) : 3600000LL);
        if (left <= 0) break;
        Pause pause = {api, static_cast<int>(left)};
        if (taken == -1) guarded(L, run_pause, &pause);
    }
    if (predicate) {
        lua_pushboolean(L, 0);
    } else {
        lua_pushinteger(L, count);
    }
    return 1;
}

}  // namespace

void events_give_back(LuaContext* context) {
    for (size_t i = 0; i < json_array_size(context->kept); ++i) {
        ox_jrpcapi_return_event(json_array_get(context->kept, i));
    }
    json_decref(context->kept);
    context->kept = nullptr;
}

// Called with the table `ox` on top.
void events_open(lua_State* L) {
    static const luaL_Reg functions[] = {{"on", on}, {"wait", wait}, {nullptr, nullptr}};
    luaL_setfuncs(L, functions, 0);
}
