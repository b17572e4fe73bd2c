// Values of the daemon handed to Lua one by one while they arrive: neither the answer nor a table of it is
// ever held.
#include "elements.hpp"

#include <string.h>

#include "json.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_tr.hpp"
#include "request.hpp"

namespace {

enum { PATHS = 1, FUNCTION = 2, OPTIONS = 3, HOLDER = 4 };

/// An answer that is handed on. Lua errors may not leave the exchange: the first one ends the handing on and
/// is raised behind it.
struct Handing {
    lua_State* L;
    const ox_list_element* element;  ///< the one that is handed on now
    bool failed;                     ///< its error is on top of the stack
    bool restarted;                  ///< the answer began anew after some of it was handed on
    size_t count;
};

void push_value_of(lua_State* L, const ox_list_element* element) {
    if (element->text) {
        lua_pushlstring(L, element->text, element->text_length);
    } else if (element->type == JSON_INTEGER) {
        lua_pushinteger(L, static_cast<lua_Integer>(element->integer));
    } else if (element->type == JSON_TRUE || element->type == JSON_FALSE) {
        lua_pushboolean(L, element->type == JSON_TRUE);
    } else if (element->value) {
        json_to_lua(L, element->value);
    } else {
        json_to_lua(L, json_null());
    }
}

/// Below a protected call: f(name, value).
int hand_on(lua_State* L) {
    auto* handing = static_cast<Handing*>(lua_touserdata(L, 2));
    const ox_list_element* element = handing->element;
    lua_pushvalue(L, 1);
    lua_pushlstring(L, element->name, element->name_length);
    push_value_of(L, element);
    lua_call(L, 2, 0);
    return 0;
}

void begin(void* context) {
    auto* handing = static_cast<Handing*>(context);
    handing->restarted = handing->count > 0;
}

void take(void* context, const ox_list_element* element) {
    auto* handing = static_cast<Handing*>(context);
    if (handing->failed || handing->restarted || !element->name) return;
    lua_State* L = handing->L;
    handing->element = element;
    handing->count++;
    lua_pushcfunction(L, hand_on);
    lua_pushvalue(L, FUNCTION);
    lua_pushlightuserdata(L, handing);
    handing->failed = lua_pcall(L, 2, 0, 0) != LUA_OK;
}

ox_jrpcmsg* values_request(lua_State* L, Holder* holder) {
    holder->json = json_array();
    if (lua_istable(L, PATHS)) {
        lua_Integer count = luaL_len(L, PATHS);
        for (lua_Integer i = 1; i <= count; ++i) {
            lua_geti(L, PATHS, i);
            json_array_append_new(holder->json, json_string(check_path(L, lua_gettop(L))));
            lua_pop(L, 1);
        }
    } else {
        json_array_append_new(holder->json, json_string(check_path(L, PATHS)));
    }
    json_t* names = holder->json;
    holder->json = nullptr;
    ox_jrpcmsg* message = ox_jrpcmsg_cmd_get_parameter_values_new(names);
    if (holder->marked) ox_jrpcmsg_add_parameter_json_new(message, OX_TR_IGNORE_ACCESS_ERROR, json_true());
    return message;
}

/// ox.each(path or paths, function [, options]): calls f(name, value) for each value as it arrives; returns
/// how many. With {readable = true} what may not be read is left out, else it is a failure.
int each(lua_State* L) {
    require_writable(L);
    lua_settop(L, OPTIONS);
    luaL_checktype(L, FUNCTION, LUA_TFUNCTION);
    Holder* holder = holder_push(L, OPTIONS, "readable");
    Handing handing = {L, nullptr, false, false, 0};
    ox_list_taker taker = {begin, take, &handing};
    if (!exchange(L, holder, values_request(L, holder), &taker)) return failure(L, holder);
    if (handing.failed) return lua_error(L);
    if (handing.restarted) return failure_text(L, "the answer was cut off", OX_SOCKET_ECLOSED);
    holder_clear(holder);
    lua_pushinteger(L, static_cast<lua_Integer>(handing.count));
    return 1;
}

}  // namespace

void elements_open(lua_State* L) {
    lua_pushcfunction(L, each);
    lua_setfield(L, -2, "each");
}
