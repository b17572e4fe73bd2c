// The exchange of a request on behalf of Lua code, and how its failure is told.
#include "request.hpp"

#include <limits.h>
#include <string.h>

#include "change.hpp"
#include "json.hpp"
#include "memory.hpp"
#include "object.hpp"
#include "ox_memory.hpp"
#include "ox_tr.hpp"

namespace {

const char* const HOLDER = "ox.holder";
const char* const ERROR = "ox.error";
const char* const FIELDS[] = {"message", "code", "data"};

int holder_gc(lua_State* L) {
    holder_clear(static_cast<Holder*>(lua_touserdata(L, 1)));
    return 0;
}

int error_text(lua_State* L) {
    lua_getfield(L, 1, "text");
    return 1;
}

struct Exchange {
    ox_jrpcapi* api;
    ox_jrpcmsg* message;
    const ox_list_taker* taker;
    bool once;
};

void run_exchange(void* argument) {
    auto* exchange = static_cast<Exchange*>(argument);
    if (exchange->taker) {
        ox_jrpcapi_exec_list(exchange->api, exchange->message, exchange->taker);
    } else if (exchange->once) {
        ox_jrpcapi_exec(exchange->api, exchange->message);
    } else {
        ox_jrpcapi_exec_retry(exchange->api, exchange->message);
    }
}

/// The number of seconds at `index` in milliseconds, -1 for math.huge; 0 when it is no time-out.
int timeout_at(lua_State* L, int index) {
    if (lua_type(L, index) != LUA_TNUMBER) return 0;
    lua_Number ms = lua_tonumber(L, index) * 1000;
    if (!(ms > 0)) return 0;
    if (ms >= INT_MAX) return -1;
    return ms < 1 ? 1 : static_cast<int>(ms);
}

}  // namespace

int script_timeout(lua_State* L) {
    lua_getfield(L, LUA_REGISTRYINDEX, "ox");
    lua_getfield(L, -1, "timeout");
    int ms = lua_isnil(L, -1) ? context_of(L)->timeout_ms : timeout_at(L, -1);
    if (ms == 0) luaL_error(L, "ox.timeout: a number of seconds above 0 expected");
    lua_pop(L, 2);
    return ms;
}

namespace {

/// Takes an option whose key and value are on top.
void take_option(lua_State* L, int index, Holder* holder, const char* mark) {
    const char* name = lua_type(L, -2) == LUA_TSTRING ? lua_tostring(L, -2) : "";
    if (mark && strcmp(name, mark) == 0) {
        holder->marked = lua_toboolean(L, -1);
        return;
    }
    if (strcmp(name, "timeout") != 0) {
        lua_pushvalue(L, -2);
        const char* text = luaL_tolstring(L, -1, nullptr);
        luaL_argerror(L, index, lua_pushfstring(L, "unknown option '%s'", text));
    }
    holder->timeout_ms = timeout_at(L, -1);
    luaL_argcheck(L, holder->timeout_ms != 0, index, "a timeout is a number of seconds above 0");
}

void take_options(lua_State* L, int index, Holder* holder, const char* mark) {
    if (lua_isnoneornil(L, index)) return;
    luaL_checktype(L, index, LUA_TTABLE);
    lua_pushnil(L);
    while (lua_next(L, index) != 0) {
        take_option(L, index, holder, mark);
        lua_pop(L, 1);
    }
}

bool is_strict(lua_State* L) {
    lua_getfield(L, LUA_REGISTRYINDEX, "ox");
    lua_getfield(L, -1, "strict");
    bool strict = lua_toboolean(L, -1) != 0;
    lua_pop(L, 2);
    return strict;
}

/// Raises a table with the failure's fields, whose text is "[code] message". message, code and data are the
/// three values on top.
int raise_fields(lua_State* L) {
    int first = lua_gettop(L) - 2;
    lua_createtable(L, 0, 4);
    for (int i = 0; i < 3; ++i) {
        lua_pushvalue(L, first + i);
        lua_setfield(L, -2, FIELDS[i]);
    }
    luaL_where(L, 1);
    lua_pushfstring(L, "[%d] %s", static_cast<int>(lua_tointeger(L, first + 1)), lua_tostring(L, first));
    lua_concat(L, 2);
    lua_setfield(L, -2, "text");
    if (luaL_newmetatable(L, ERROR)) {
        lua_pushcfunction(L, error_text);
        lua_setfield(L, -2, "__tostring");
    }
    lua_setmetatable(L, -2);
    return lua_error(L);
}

/// Appends what the first member of the error data says to the text on top.
void add_reason(lua_State* L, json_t* data) {
    void* first = json_object_iter(data);
    json_t* reason = first ? json_object_iter_value(first) : nullptr;
    json_t* text = json_is_object(reason) ? json_object_get(reason, "message") : reason;
    if (!json_is_string(text)) return;
    lua_pushfstring(L, ": %s: %s", json_object_iter_key(first), json_string_value(text));
    lua_concat(L, 2);
}

bool is_star(std::string_view component) {
    return component == "*";
}

void push_fields(lua_State* L, const ox_jrpcmsg* message) {
    lua_pushstring(L, message->error_message ? message->error_message : "error without a text");
    if (message->error_detail) {
        lua_pushfstring(L, ": %s", message->error_detail);
        lua_concat(L, 2);
    }
    add_reason(L, message->error_data);
    lua_pushinteger(L, message->error_code);
    if (message->error_data) {
        json_to_lua(L, message->error_data);
    } else {
        lua_pushnil(L);
    }
}

/// What a protected call left: its results, or the failure that it raised as nil, message, code and data.
/// Any other error is raised again.
int tried(lua_State* L, int status, lua_KContext) {
    if (status == LUA_OK || status == LUA_YIELD) return lua_gettop(L);
    bool failure = lua_istable(L, -1) && lua_getmetatable(L, -1);
    if (failure) {
        luaL_getmetatable(L, ERROR);
        failure = lua_rawequal(L, -1, -2) != 0;
        lua_pop(L, 2);
    }
    if (!failure) return lua_error(L);
    lua_pushnil(L);
    int error = lua_absindex(L, -2);
    for (const char* name : FIELDS) lua_getfield(L, error, name);
    return 4;
}

/// ox.try(f, ...)
int try_call(lua_State* L) {
    luaL_checkany(L, 1);
    return tried(L, lua_pcallk(L, lua_gettop(L) - 1, LUA_MULTRET, 0, 0, tried), 0);
}

}  // namespace

Holder* holder_push(lua_State* L, int options, const char* mark) {
    ox_memory_take_failure();  // what failed before has been told
    auto* holder = static_cast<Holder*>(lua_newuserdata(L, sizeof(Holder)));
    *holder = {nullptr, nullptr, 0, false, false};
    if (luaL_newmetatable(L, HOLDER)) {
        lua_pushcfunction(L, holder_gc);
        lua_setfield(L, -2, "__gc");
    }
    lua_setmetatable(L, -2);
    if (options) take_options(L, options, holder, mark);
    return holder;
}

void holder_clear(Holder* holder) {
    json_decref(holder->json);
    ox_jrpcmsg_free(holder->message);
    holder->json = nullptr;
    holder->message = nullptr;
}

bool exchange(lua_State* L, Holder* holder, ox_jrpcmsg* message, const ox_list_taker* taker) {
    ox_jrpcmsg_free(holder->message);
    holder->message = message;
    LuaContext* context = context_of(L);
    if (!message) raise_memory(L);
    check_memory(L);
    if (!context->api) luaL_error(L, "there is no connection to the daemon");
    if (context->hands_on) luaL_error(L, "no request while an answer is handed on");
    change_name(L, message);
    check_memory(L);
    int timeout = holder->timeout_ms ? holder->timeout_ms : script_timeout(L);
    int usual = ox_jrpcapi_get_timeout(context->api);
    Exchange exchange = {context->api, message, taker, holder->once};
    ox_jrpcapi_set_timeout(context->api, timeout);
    context->hands_on = taker != nullptr;
    bool done = run_guarded(L, run_exchange, &exchange);
    context->hands_on = false;
    ox_jrpcapi_set_timeout(context->api, usual);
    if (!done) stop_error(L);
    check_memory(L);
    return message->error_code == 0;
}

json_t* result_member(const Holder* holder, const char* name) {
    return json_object_get(ox_jrpcmsg_get_result_json(holder->message), name);
}

json_t* result_list(const Holder* holder) {
    return ox_tr_result_list(ox_jrpcmsg_get_result_json(holder->message));
}

int failure(lua_State* L, Holder* holder) {
    if (is_strict(L)) return raise_failure(L, holder);
    lua_pushnil(L);
    push_fields(L, holder->message);
    holder_clear(holder);
    return 4;
}

int failure_text(lua_State* L, const char* text, int code) {
    bool strict = is_strict(L);
    lua_pushnil(L);
    lua_pushstring(L, text);
    lua_pushinteger(L, code);
    if (!strict) return 3;
    lua_pushnil(L);
    return raise_fields(L);
}

int raise_failure(lua_State* L, Holder* holder) {
    push_fields(L, holder->message);
    holder_clear(holder);
    return raise_fields(L);
}

const char* check_path(lua_State* L, int index) {
    const char* path = object_path(L, index);
    if (!path) path = luaL_checkstring(L, index);
    luaL_argcheck(L, lua_type(L, index) != LUA_TSTRING || strlen(path) == lua_rawlen(L, index), index,
                  "a path without zero bytes expected");
    json_t* utf8 = json_string(path);
    json_decref(utf8);
    check_memory(L);
    luaL_argcheck(L, utf8, index, "a path must be valid UTF-8");
    while (*path == ':') ++path;
    push_template_path(L, *path ? path : ".", is_star);
    lua_replace(L, index);
    return lua_tostring(L, index);
}

const char* push_template_path(lua_State* L, const char* path, bool (*picks)(std::string_view component)) {
    luaL_Buffer text;
    luaL_buffinit(L, &text);
    for (std::string_view component : ox_tr_components(path)) {
        // What stands between components is kept, so that the daemon judges the path as it was given.
        luaL_addlstring(&text, path, static_cast<size_t>(component.data() - path));
        path = component.data() + component.size();
        if (picks(component)) component = OX_TR_TEMPLATE;
        luaL_addlstring(&text, component.data(), component.size());
    }
    luaL_addstring(&text, path);
    luaL_pushresult(&text);
    return lua_tostring(L, -1);
}

json_t* add_named(lua_State* L, json_t* list, const char* name) {
    json_t* entry = json_object();
    if (json_array_append_new(list, entry) != 0) luaL_error(L, "not enough memory");
    if (json_object_set_new(entry, OX_TR_NAME, json_string(name)) != 0) {
        check_memory(L);
        luaL_error(L, "a path must be valid UTF-8");
    }
    return entry;
}

// Called with the table `ox` on top.
void request_open(lua_State* L) {
    lua_pushcfunction(L, try_call);
    lua_setfield(L, -2, "try");
}
