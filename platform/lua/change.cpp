// Changes that the daemon takes back unless they are confirmed, and requests that only try.
#include "change.hpp"

#include <string.h>

#include "json.hpp"
#include "memory.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_tr.hpp"

namespace {

const char* const CHANGE = "ox.change";      // in the registry: what the open change is called
const char* const DRY_RUNS = "ox.dry_runs";  // whether the daemon was found to know dry runs
constexpr int METHOD_NOT_FOUND = -32601, USUAL_SECONDS = 60, MOST_SECONDS = 3600;

ox_jrpcmsg* begin_request(int seconds) {
    return ox_jrpcmsg_create_new("BeginChange", json_pack("{s:i}", OX_TR_TIMEOUT, seconds));
}

/// The argument, a number of seconds; a part of one counts as one.
int check_seconds(lua_State* L, int index) {
    lua_Number seconds = luaL_checknumber(L, index);
    luaL_argcheck(L, seconds > 0 && seconds <= MOST_SECONDS, index, "1 to 3600 seconds expected");
    int whole = static_cast<int>(seconds);
    return whole < seconds ? whole + 1 : whole;
}

/// Begins a change and pushes what it is called. False when the daemon refuses.
bool begin(lua_State* L, Holder* holder, int seconds) {
    if (!exchange(L, holder, begin_request(seconds))) return false;
    json_to_lua(L, result_member(holder, OX_TR_CHANGE));
    holder_clear(holder);
    lua_pushvalue(L, -1);
    lua_setfield(L, LUA_REGISTRYINDEX, CHANGE);
    return true;
}

/// Confirms or cancels the change at `index`; where that is nil the one that Lua code has begun, or the one
/// that is open.
bool end(lua_State* L, Holder* holder, const char* method, int index) {
    lua_getfield(L, LUA_REGISTRYINDEX, CHANGE);
    if (lua_isnil(L, index)) lua_copy(L, -1, index);
    json_t* params = json_object();
    if (!lua_isnil(L, index))
        json_object_set_new(params, OX_TR_CHANGE, ox_jrpcmsg_text(luaL_checkstring(L, index)));
    if (lua_rawequal(L, -1, index)) {
        lua_pushnil(L);
        lua_setfield(L, LUA_REGISTRYINDEX, CHANGE);
    }
    lua_pop(L, 1);
    return exchange(L, holder, ox_jrpcmsg_create_new(method, params));
}

int end_call(lua_State* L, const char* method) {
    require_writable(L);
    lua_settop(L, 2);
    if (!lua_isnil(L, 1)) luaL_checkstring(L, 1);
    Holder* holder = holder_push(L, 2);
    if (!end(L, holder, method, 1)) return failure(L, holder);
    holder_clear(holder);
    lua_pushboolean(L, 1);
    return 1;
}

/// ox.begin_change(seconds [, options]): what the change is called.
int begin_change(lua_State* L) {
    require_writable(L);
    lua_settop(L, 2);
    int seconds = check_seconds(L, 1);
    Holder* holder = holder_push(L, 2);
    return begin(L, holder, seconds) ? 1 : failure(L, holder);
}

/// ox.confirm_change([change [, options]])
int confirm_change(lua_State* L) {
    return end_call(L, "ConfirmChange");
}

/// ox.cancel_change([change [, options]])
int cancel_change(lua_State* L) {
    return end_call(L, "CancelChange");
}

/// What ox.change does when its function is through: the change stands at 1, a holder at 2, results or an
/// error behind them.
int changed(lua_State* L, int status, lua_KContext) {
    enum { CHANGE_AT = 1, HOLDER_AT, RESULTS };
    bool fine = status == LUA_OK || status == LUA_YIELD;
    int results = lua_gettop(L) - HOLDER_AT;
    if (!fine || (results > 0 && !lua_toboolean(L, RESULTS))) {
        lua_pushcfunction(L, cancel_change);
        lua_pushvalue(L, CHANGE_AT);
        lua_pcall(L, 1, 0, 0);  // where it can't be told, the daemon takes back by itself
        lua_settop(L, HOLDER_AT + results);
        return fine ? results : lua_error(L);
    }
    auto* holder = static_cast<Holder*>(lua_touserdata(L, HOLDER_AT));
    if (!end(L, holder, "ConfirmChange", CHANGE_AT)) return failure(L, holder);
    holder_clear(holder);
    if (results > 0) return results;
    lua_pushboolean(L, 1);
    return 1;
}

/// The seconds that the options of ox.change at `index` give.
int change_seconds(lua_State* L, int index) {
    if (lua_isnil(L, index)) return USUAL_SECONDS;
    luaL_checktype(L, index, LUA_TTABLE);
    lua_pushnil(L);
    while (lua_next(L, index) != 0) {
        bool known = lua_type(L, -2) == LUA_TSTRING && strcmp(lua_tostring(L, -2), "confirm") == 0;
        if (!known)
            luaL_argerror(L, index,
                          lua_pushfstring(L, "unknown option '%s'", luaL_tolstring(L, -2, nullptr)));
        lua_pop(L, 1);
    }
    if (lua_getfield(L, index, "confirm") == LUA_TNIL) return USUAL_SECONDS;
    return check_seconds(L, lua_gettop(L));
}

/// ox.change(f [, {confirm = seconds}]): what f gives; what it alters is taken back unless it comes to its
/// end.
int change(lua_State* L) {
    require_writable(L);
    luaL_checkany(L, 1);
    lua_settop(L, 2);
    int seconds = change_seconds(L, 2);
    lua_settop(L, 2);
    Holder* holder = holder_push(L);
    if (!begin(L, holder, seconds)) return failure(L, holder);
    lua_rotate(L, 1, 1);  // the change, the function, the options, the holder
    lua_remove(L, 3);
    lua_rotate(L, 2, 1);  // the change, the holder, the function
    return changed(L, lua_pcallk(L, 0, LUA_MULTRET, 0, 0, changed), 0);
}

}  // namespace

int dry_run_refused(lua_State* L, const Holder* holder) {
    if (!holder->marked) return 0;
    lua_getfield(L, LUA_REGISTRYINDEX, DRY_RUNS);
    bool known = lua_toboolean(L, -1) != 0;
    lua_pop(L, 1);
    if (known) return 0;
    // A daemon that lacks them ignores the member; so it is asked for what it refuses anyway.
    Holder* asked = holder_push(L);
    exchange(L, asked, begin_request(0));
    if (asked->message->error_code == METHOD_NOT_FOUND)
        return failure_text(L, "The daemon knows no dry runs", METHOD_NOT_FOUND);
    if (asked->message->error_code < 0 && asked->message->error_code > METHOD_NOT_FOUND)
        return failure(L, asked);
    holder_clear(asked);
    lua_pop(L, 1);
    lua_pushboolean(L, 1);
    lua_setfield(L, LUA_REGISTRYINDEX, DRY_RUNS);
    return 0;
}

ox_jrpcmsg* dry_run_mark(const Holder* holder, ox_jrpcmsg* message) {
    if (holder->marked) ox_jrpcmsg_add_parameter_json_new(message, OX_TR_DRY_RUN, json_true());
    return message;
}

void change_name(lua_State* L, ox_jrpcmsg* message) {
    if (lua_getfield(L, LUA_REGISTRYINDEX, CHANGE) == LUA_TSTRING)
        json_object_set_new(message->json, OX_TR_CHANGE, ox_jrpcmsg_text(lua_tostring(L, -1)));
    lua_pop(L, 1);
}

// Called with the table `ox` on top.
void change_open(lua_State* L) {
    static const luaL_Reg functions[] = {{"change", change},
                                         {"begin_change", begin_change},
                                         {"confirm_change", confirm_change},
                                         {"cancel_change", cancel_change},
                                         {nullptr, nullptr}};
    luaL_setfuncs(L, functions, 0);
}
