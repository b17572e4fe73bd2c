#include "value_parts.hpp"

#include <string.h>

#include "json.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_tr.hpp"

namespace {

enum { PARTS = 4, INVALID_NAME = 9005 };

bool gather(lua_State* L, Holder* holder, int table, json_t* names, bool children);

bool gather_slices(lua_State* L, Holder* holder, int table, json_t* names) {
    Holder* part = holder_push(L);
    size_t count = json_array_size(names);
    size_t step = (count + PARTS - 1) / PARTS;
    bool done = true;
    for (size_t from = 0; done && from < count; from += step) {
        part->json = json_array();
        for (size_t i = from; i < from + step && i < count; ++i)
            json_array_append(part->json, json_array_get(names, i));
        done = gather(L, holder, table, part->json, true);
        holder_clear(part);
    }
    lua_pop(L, 1);
    return done;
}

/// The names of the children of an object, or of the instances that a "#template" stands for with what
/// follows it, are put into the holder `below`.
void take_children(lua_State* L, Holder* below, const char* name) {
    const char* pattern = strstr(name, OX_TR_TEMPLATE);
    const char* rest = pattern ? pattern + strlen(OX_TR_TEMPLATE) : "";
    if (*rest == '.') ++rest;
    const char* object =
        lua_pushlstring(L, name, pattern ? static_cast<size_t>(pattern - name) : strlen(name));
    below->json = json_array();
    if (ox_tr_path_is_partial(object) && exchange(L, below, ox_jrpcmsg_cmd_get_parameter_names(object, 1))) {
        for (ox_tr_element element : ox_tr_elements(result_list(below))) {
            if (pattern && !ox_tr_is_instance(ox_tr_path_leaf(element.name))) continue;
            json_array_append_new(below->json, json_string(lua_pushfstring(L, "%s%s", element.name, rest)));
            lua_pop(L, 1);
        }
    }
    lua_pop(L, 1);
}

bool gather_children(lua_State* L, Holder* holder, int table, json_t* names) {
    Holder* below = holder_push(L);
    below->timeout_ms = holder->timeout_ms;
    take_children(L, below, json_string_value(json_array_get(names, 0)));
    bool done = json_array_size(below->json) > 0 && gather_slices(L, holder, table, below->json);
    holder_clear(below);
    lua_pop(L, 1);
    return done;
}

/// Children that cannot be asked for are methods, or gone meanwhile.
bool gather(lua_State* L, Holder* holder, int table, json_t* names, bool children) {
    luaL_checkstack(L, LUA_MINSTACK, "values nested too deep");
    if (exchange(L, holder, ox_jrpcmsg_cmd_get_parameter_values_new(json_incref(names)))) {
        for (auto [name, entry] : ox_tr_elements(result_list(holder))) {
            json_to_lua(L, json_object_get(entry, OX_TR_VALUE));
            lua_setfield(L, table, name);
        }
        return true;
    }
    bool without_values = children && holder->message->error_code == INVALID_NAME;
    if (!without_values && !ox_jrpcapi_is_too_large(context_of(L)->api, holder->message)) return false;
    if (json_array_size(names) > 1) return gather_slices(L, holder, table, names);
    return without_values || gather_children(L, holder, table, names);
}

}  // namespace

bool set_values_of(lua_State* L, Holder* holder, int table, json_t* names) {
    return gather(L, holder, lua_absindex(L, table), names, false);
}
