// The exchange of a request on behalf of Lua code, and how its failure is told.
#include <string.h>

#include "bindings.hpp"

namespace {

const char* const HOLDER = "ox.holder";

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
};

void run_exchange(void* argument) {
    auto* exchange = static_cast<Exchange*>(argument);
    int result = ox_jrpcapi_exec(exchange->api, exchange->message);
    if (result >= 0 || ox_jrpcapi_get_socket_err(exchange->api) != OX_SOCKET_ECLOSED) return;
    ox_jrpcmsg_set_result_new(exchange->message, nullptr);
    ox_jrpcapi_exec(exchange->api, exchange->message);
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
    static const char* const names[] = {"message", "code", "data"};
    for (int i = 0; i < 3; ++i) {
        lua_pushvalue(L, first + i);
        lua_setfield(L, -2, names[i]);
    }
    luaL_where(L, 1);
    lua_pushfstring(L, "[%d] %s", static_cast<int>(lua_tointeger(L, first + 1)), lua_tostring(L, first));
    lua_concat(L, 2);
    lua_setfield(L, -2, "text");
    if (luaL_newmetatable(L, "ox.error")) {
        lua_pushcfunction(L, error_text);
        lua_setfield(L, -2, "__tostring");
    }
    lua_setmetatable(L, -2);
    return lua_error(L);
}

void push_fields(lua_State* L, const ox_jrpcmsg* message) {
    lua_pushstring(L, message->error_message ? message->error_message : "error without a text");
    if (message->error_detail) {
        lua_pushfstring(L, ": %s", message->error_detail);
        lua_concat(L, 2);
    }
    lua_pushinteger(L, message->error_code);
    if (message->error_data) {
        json_to_lua(L, message->error_data);
    } else {
        lua_pushnil(L);
    }
}

}  // namespace

Holder* holder_push(lua_State* L) {
    auto* holder = static_cast<Holder*>(lua_newuserdata(L, sizeof(Holder)));
    *holder = {nullptr, nullptr};
    if (luaL_newmetatable(L, HOLDER)) {
        lua_pushcfunction(L, holder_gc);
        lua_setfield(L, -2, "__gc");
    }
    lua_setmetatable(L, -2);
    return holder;
}

void holder_clear(Holder* holder) {
    json_decref(holder->json);
    ox_jrpcmsg_free(holder->message);
    *holder = {nullptr, nullptr};
}

bool exchange(lua_State* L, Holder* holder, ox_jrpcmsg* message) {
    ox_jrpcmsg_free(holder->message);
    holder->message = message;
    LuaContext* context = context_of(L);
    if (!message) return luaL_error(L, "not enough memory");
    if (!context->api) luaL_error(L, "there is no connection to the daemon");
    Exchange exchange = {context->api, message};
    guarded(L, run_exchange, &exchange);
    return message->error_code == 0;
}

json_t* result_member(const Holder* holder, const char* name) {
    return json_object_get(ox_jrpcmsg_get_result_json(holder->message), name);
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
    luaL_argcheck(L, utf8, index, "a path must be valid UTF-8");
    while (*path == ':') ++path;
    luaL_Buffer text;
    luaL_buffinit(L, &text);
    for (const char* at = path; *at; ++at) {
        bool alone = (at == path || at[-1] == '.') && (at[1] == 0 || at[1] == '.');
        if (*at == '*' && alone) {
            luaL_addstring(&text, "#template");
        } else {
            luaL_addchar(&text, *at);
        }
    }
    if (!*path) luaL_addchar(&text, '.');
    luaL_pushresult(&text);
    lua_replace(L, index);
    return lua_tostring(L, index);
}

json_t* add_named(lua_State* L, json_t* list, const char* name) {
    json_t* entry = json_object();
    if (json_array_append_new(list, entry) != 0) luaL_error(L, "not enough memory");
    if (json_object_set_new(entry, "Name", json_string(name)) != 0)
        luaL_error(L, "a path must be valid UTF-8");
    return entry;
}
