// Events from the daemon, and waiting for them or for a time. While one coroutine waits, the others run.
//
// Events are taken in on the process's events connection, wherever they arrive. A process without one makes
// the context's connection that one.
#include "events.hpp"

#include <string.h>

#include "coroutines.hpp"
#include "json.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcevents.hpp"
#include "ox_wait.hpp"
#include "request.hpp"

namespace {

const char* const HANDLERS = "ox.handlers";
enum { PREDICATE_STEP_MS = 200 };                     // a predicate is called at least that often
enum { PAUSE_MS = 10, TURN_MS = 2 };                  // of coroutines that wait side by side
enum { KEPT_MAX = 10000, KEPT_BYTES_MAX = 4 << 20 };  // events that wait for other readers
enum { SWEEP_MS = 1000 };                             // a shorter wait may take so long for what has arrived

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
    UnheldChars text(json_dumps(event->json, JSON_COMPACT));
    size_t size = text ? strlen(text) : 0;
    if (!context->kept) context->kept = json_array();
    while (json_array_size(context->kept) >= KEPT_MAX || context->kept_bytes + size > KEPT_BYTES_MAX) {
        if (json_array_size(context->kept) == 0) break;
        context->kept_bytes -= json_string_length(json_array_get(context->kept, 0));
        json_array_remove(context->kept, 0);
        ox_jrpcapi_lose_event();
    }
    if (!text || size > KEPT_BYTES_MAX ||
        json_array_append_new(context->kept, json_stringn(text, size)) != 0) {
        ox_jrpcapi_lose_event();
        return;
    }
    context->kept_bytes += size;
}

/// Hands an event to its functions. Returns whether it had any.
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
    holder_clear(holder);
    // A function may add or remove others while it runs, so lists are replaced and never changed.
    int list = lua_gettop(L) - 1;
    for (lua_Integer i = 1; lua_rawgeti(L, list, i) != LUA_TNIL; ++i) {
        lua_pushvalue(L, list + 1);
        lua_pushinteger(L, group);
        lua_call(L, 2, 0);
    }
    lua_settop(L, list - 2);
    return true;
}

struct Pause {
    int fd;
    int ms;
};

void run_pause(void* argument) {
    auto* pause = static_cast<Pause*>(argument);
    struct pollfd entry = {pause->fd, POLLIN, 0};
    ox_wait_poll(&entry, 1, pause->ms);
}

void run_sleep(void* argument) {
    ox_wait_sleep_ms(*static_cast<long long*>(argument));
}

/// Waits until an event arrives, at most `ms`; when `asleep`, waits for the whole time.
void pause_for(lua_State* L, long long ms, bool asleep) {
    if (asleep) {
        guarded(L, run_sleep, &ms);
        return;
    }
    ox_socket* socket = ox_jrpcapi_socket(events_connection(L));
    Pause pause = {socket ? ox_socket_fd(socket) : -1, static_cast<int>(ms)};
    guarded(L, run_pause, &pause);
}

/// Keeps coroutines that wait, and are resumed again and again, from spinning: one of them pauses for all.
void pause_in_turn(lua_State* L, long long left, bool asleep) {
    LuaContext* context = context_of(L);
    bool turn = context->paused == L || ox_wait_now_ms() - context->paused_end >= TURN_MS;
    if (!turn) return;
    context->paused = L;
    pause_for(L, left < PAUSE_MS ? left : static_cast<long long>(PAUSE_MS), asleep);
    context->paused_end = ox_wait_now_ms();
}

lua_Number check_seconds(lua_State* L, int index) {
    lua_Number seconds = luaL_checknumber(L, index);
    luaL_argcheck(L, seconds >= 0 && seconds < 1e9, index, "seconds expected");
    return seconds;
}

/// Reports lost events, but not in a shell: its own loop does.
void tell_lost(const LuaContext* context) {
    size_t lost = context->flags & OX_LUA_KEEP_EVENTS ? 0 : ox_jrpcapi_take_lost_events();
    if (lost > 0) fprintf(stderr, "%zu events are lost: more came than can wait.\n", lost);
}

/// Takes one event that has arrived. Returns 1 when it had a function, 0 when it had none, -1 when no event
/// has arrived, -2 when the connection is lost.
int take_event(lua_State* L, ox_jrpcapi* api, Holder* holder) {
    tell_lost(context_of(L));
    holder->message = ox_jrpcapi_recv(api);
    if (holder->message) return dispatch(L, holder) ? 1 : 0;
    int error = ox_jrpcapi_get_socket_err(api);
    return error == OX_SOCKET_EEMPTY || error == OX_SOCKET_EPARTIAL ? -1 : -2;
}

lua_Integer check_group(lua_State* L) {
    lua_Integer group = luaL_checkinteger(L, 1);
    luaL_argcheck(L, group >= 1 && group <= 4294967295, 1, "a group of 1 to 4294967295 expected");
    return group;
}

/// Replaces the group's list of functions by one without the function at 2 (nil there: by none), to which it
/// is then added.
void change_handlers(lua_State* L, lua_Integer group, bool add) {
    luaL_getsubtable(L, LUA_REGISTRYINDEX, HANDLERS);
    int handlers = lua_gettop(L);
    lua_newtable(L);
    lua_Integer count = 0;
    bool listed = lua_rawgeti(L, handlers, group) != LUA_TNIL && !lua_isnil(L, 2);
    for (lua_Integer i = 1; listed && lua_rawgeti(L, handlers + 2, i) != LUA_TNIL; ++i) {
        if (lua_rawequal(L, -1, 2)) {
            lua_pop(L, 1);
        } else {
            lua_rawseti(L, handlers + 1, ++count);
        }
    }
    if (add) {
        lua_pushvalue(L, 2);
        lua_rawseti(L, handlers + 1, ++count);
    }
    lua_settop(L, handlers + 1);
    if (count == 0) {
        lua_pop(L, 1);
        lua_pushnil(L);
    }
    lua_rawseti(L, handlers, group);
    lua_settop(L, handlers - 1);
}

/// ox.off(group [, function])
int off(lua_State* L) {
    require_writable(L);
    lua_Integer group = check_group(L);
    if (!lua_isnoneornil(L, 2)) luaL_checktype(L, 2, LUA_TFUNCTION);
    lua_settop(L, 2);
    change_handlers(L, group, false);
    lua_pushboolean(L, 1);
    return 1;
}

bool is_handled(lua_State* L, lua_Integer group) {
    luaL_getsubtable(L, LUA_REGISTRYINDEX, HANDLERS);
    bool handled = lua_rawgeti(L, -1, group) != LUA_TNIL;
    lua_pop(L, 2);
    return handled;
}

/// ox.on(group, function), ox.on(group, nil)
int on(lua_State* L) {
    if (lua_isnil(L, 2)) return off(L);
    require_writable(L);
    lua_Integer group = check_group(L);
    luaL_checktype(L, 2, LUA_TFUNCTION);
    lua_settop(L, 2);
    ox_jrpcapi* api = events_connection(L);
    Holder* holder = holder_push(L);  // 3
    // The new function gets no events that arrived before it was there.
    long long end = ox_wait_now_ms() + SWEEP_MS;
    while (take_event(L, api, holder) >= 0 && ox_wait_now_ms() < end) {
    }
    bool joined = is_handled(L, group) || ox_jrpcapi_has_joined(static_cast<uint32_t>(group));
    if (!joined && !exchange(L, holder, ox_jrpcmsg_cmd_join_group(static_cast<uint32_t>(group)))) {
        return failure(L, holder);
    }
    holder_clear(holder);
    change_handlers(L, group, true);
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

struct Reconnection {
    ox_jrpcapi* api;
    int timeout_ms;
};

void run_reconnection(void* argument) {
    auto* reconnection = static_cast<Reconnection*>(argument);
    ox_jrpcapi_connect_within(reconnection->api, reconnection->timeout_ms);
}

/// Connects again what an earlier call found lost, for the groups that were joined on it. Not in a shell: its
/// own loop answers the loss. Returns 0 or the socket error.
int reconnect(lua_State* L, ox_jrpcapi* api) {
    if ((context_of(L)->flags & OX_LUA_KEEP_EVENTS) || ox_jrpcapi_socket(api)) return OX_SOCKET_OK;
    Reconnection reconnection = {api, script_timeout(L)};
    guarded(L, run_reconnection, &reconnection);
    return ox_jrpcapi_socket(api) ? static_cast<int>(OX_SOCKET_OK) : ox_jrpcapi_get_socket_err(api);
}

/// A wait ends when its time has passed and all events that had arrived were handed over; the latter may take
/// SWEEP_MS.
struct Deadline {
    bool endless;
    bool swept;  ///< all events that had arrived were handed over
    long long end;
    long long sweep_end;
};

Deadline deadline_in(lua_Number seconds) {
    long long now = ox_wait_now_ms();
    return {seconds < 0, false, now + static_cast<long long>(seconds * 1000), now + SWEEP_MS};
}

/// The milliseconds until the wait ends, at most `step`; 0 or less when it has ended.
long long deadline_left(const Deadline* deadline, long long step) {
    if (deadline->endless) return step;
    long long end =
        deadline->swept || deadline->end > deadline->sweep_end ? deadline->end : deadline->sweep_end;
    long long left = end - ox_wait_now_ms();
    return left < step ? left : step;
}

/// A call of ox.wait, which may have yielded in between: the predicate or nothing is at 1, this at 3, a
/// holder at 4.
struct Wait {
    ox_jrpcapi* api;
    Deadline deadline;
    long long next_ask;  ///< when the predicate is called next if no event comes
    lua_Integer count;
    bool predicate;
};
enum { WAIT = 3, WAIT_HOLDER = 4 };

/// True, with its value pushed, when the predicate holds. It is called after each event, and every
/// PREDICATE_STEP_MS without one.
bool ask_predicate(lua_State* L, Wait* wait, bool event) {
    if (!wait->predicate || (!event && ox_wait_now_ms() < wait->next_ask)) return false;
    if (predicate_holds(L)) return true;
    wait->next_ask = ox_wait_now_ms() + PREDICATE_STEP_MS;
    return false;
}

int wait_over(lua_State* L, const Wait* wait) {
    if (wait->predicate) {
        lua_pushboolean(L, 0);
    } else {
        lua_pushinteger(L, wait->count);
    }
    return 1;
}

/// Begins a wait, or goes on with one that gave way to other coroutines.
int wait_on(lua_State* L, int status, lua_KContext) {
    lua_settop(L, WAIT_HOLDER);
    auto* wait = static_cast<Wait*>(lua_touserdata(L, WAIT));
    auto* holder = static_cast<Holder*>(lua_touserdata(L, WAIT_HOLDER));
    bool resumed = status == LUA_YIELD;
    for (bool event = false;;) {
        if (ask_predicate(L, wait, event)) return 1;
        int taken = take_event(L, wait->api, holder);
        if (taken == -2) return failure_text(L, "the connection to the daemon is lost", OX_SOCKET_ECLOSED);
        event = taken >= 0;
        if (event) wait->count += taken;
        if (!event) wait->deadline.swept = true;
        long long step = wait->predicate ? static_cast<long long>(PREDICATE_STEP_MS) : 3600000LL;
        long long left = deadline_left(&wait->deadline, step);
        if (left <= 0) return wait_over(L, wait);
        if (event) continue;
        if (gives_way(L)) {
            if (resumed) pause_in_turn(L, left, false);
            return lua_yieldk(L, 0, 0, wait_on);
        }
        pause_for(L, left, false);
    }
}

/// ox.wait(seconds): the number of events that were handed over. ox.wait(predicate [, seconds]): the
/// predicate's value once it is true, or false.
int wait(lua_State* L) {
    require_writable(L);
    bool predicate = lua_isfunction(L, 1);
    int index = predicate ? 2 : 1;
    bool endless = predicate && lua_isnoneornil(L, 2);
    lua_Number seconds = endless ? -1 : check_seconds(L, index);
    lua_settop(L, 2);
    ox_jrpcapi* api = events_connection(L);
    int error = reconnect(L, api);
    if (error != OX_SOCKET_OK) return failure_text(L, ox_socket_strerror(error), error);
    auto* wait = static_cast<Wait*>(lua_newuserdata(L, sizeof(Wait)));
    *wait = {api, deadline_in(seconds), 0, 0, predicate};
    holder_push(L);
    return wait_on(L, LUA_OK, 0);
}

/// Begins a sleep that ends at the time at 1, or goes on with it.
int sleep_on(lua_State* L, int status, lua_KContext) {
    lua_settop(L, 1);
    for (;;) {
        long long left = lua_tointeger(L, 1) - ox_wait_now_ms();
        if (left <= 0) return 0;
        if (gives_way(L)) {
            if (status == LUA_YIELD) pause_in_turn(L, left, true);
            return lua_yieldk(L, 0, 0, sleep_on);
        }
        pause_for(L, left, true);
    }
}

/// ox.sleep(seconds)
int sleep_seconds(lua_State* L) {
    require_open(L);
    require_writable(L);
    lua_Number seconds = check_seconds(L, 1);
    lua_settop(L, 0);
    lua_pushinteger(L, ox_wait_now_ms() + static_cast<long long>(seconds * 1000));
    return sleep_on(L, LUA_OK, 0);
}

/// ox.now(): seconds on a clock that never jumps.
int now(lua_State* L) {
    lua_pushnumber(L, static_cast<lua_Number>(ox_wait_now_ms()) / 1000);
    return 1;
}

}  // namespace

void events_give_back(LuaContext* context) {
    for (size_t i = 0; i < json_array_size(context->kept); ++i) {
        const json_t* text = json_array_get(context->kept, i);
        JsonRef event(json_loadb(json_string_value(text), json_string_length(text), JSON_ALLOW_NUL, nullptr));
        if (event) ox_jrpcapi_return_event(event);
    }
    json_decref(context->kept);
    context->kept = nullptr;
    context->kept_bytes = 0;
}

// Called with the table `ox` on top.
void events_open(lua_State* L) {
    static const luaL_Reg functions[] = {
        {"on", on}, {"off", off}, {"wait", wait}, {"sleep", sleep_seconds}, {"now", now}, {nullptr, nullptr}};
    luaL_setfuncs(L, functions, 0);
}
