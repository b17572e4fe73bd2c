// Values of parameters, one by one and as trees.
#include "values.hpp"

#include <string.h>

#include "change.hpp"
#include "json.hpp"
#include "memory.hpp"
#include "object.hpp"
#include "ox_conf_path.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_tr.hpp"
#include "request.hpp"
#include "value_parts.hpp"

namespace {

/// Whether a full name is what a path asks for, or lies below it; "#template" stands for any instance number.
bool covers(const char* path, const char* name) {
    ox_tr_components components(name);
    auto component = components.begin();
    for (std::string_view wanted : ox_tr_components(path)) {
        bool any = wanted == OX_TR_TEMPLATE && ox_tr_is_instance(*component);
        if (!any && wanted != *component) return false;
        ++component;
    }
    return true;
}

/// Pushes what an answer holds for one of the paths that were asked for: a parameter's value, or a table of
/// names and values. `from` is where the last path was found: answers come in the order of the questions.
void push_answer(lua_State* L, const char* path, json_t* list, size_t* from) {
    size_t size = json_array_size(list);
    for (size_t i = 0; i < size; ++i) {
        size_t at = (*from + i) % size;
        json_t* entry = json_array_get(list, at);
        const char* name = json_string_value(json_object_get(entry, OX_TR_NAME));
        if (!name || strcmp(name, path) != 0) continue;
        json_to_lua(L, json_object_get(entry, OX_TR_VALUE));
        *from = at + 1;
        return;
    }
    lua_newtable(L);
    for (auto [name, entry] : ox_tr_elements(list)) {
        if (!covers(path, name)) continue;
        json_to_lua(L, json_object_get(entry, OX_TR_VALUE));
        lua_setfield(L, -2, name);
    }
}

/// Pushes what a path has that is too much for an answer together with the others. False: the holder has the
/// error.
bool push_parts(lua_State* L, Holder* holder, const char* path) {
    Holder* asked = holder_push(L);
    asked->json = json_pack("[s]", path);
    lua_newtable(L);
    bool done = set_values_of(L, holder, -1, asked->json);
    holder_clear(asked);
    lua_remove(L, -2);
    if (lua_getfield(L, -1, path) == LUA_TNIL) {
        lua_pop(L, 1);
    } else {
        lua_remove(L, -2);
    }
    return done;
}

/// ox.get(path... [, options])
int get(lua_State* L) {
    int count = lua_gettop(L);
    luaL_argcheck(L, count > 0, 1, "a path expected");
    luaL_checkstack(L, count + LUA_MINSTACK, "too many paths");
    bool options = count > 1 && lua_istable(L, count) && !object_path(L, count);
    Holder* holder = holder_push(L, options ? count : 0);
    if (options) --count;
    holder->json = json_array();
    for (int i = 1; i <= count; ++i) {
        json_array_append_new(holder->json, json_string(check_path(L, i)));
    }
    json_t* names = holder->json;
    holder->json = nullptr;
    if (!exchange(L, holder, ox_jrpcmsg_cmd_get_parameter_values_new(names))) {
        if (!ox_jrpcapi_is_too_large(context_of(L)->api, holder->message)) return failure(L, holder);
        for (int i = 1; i <= count; ++i)
            if (!push_parts(L, holder, lua_tostring(L, i))) return failure(L, holder);
        holder_clear(holder);
        return count;
    }
    json_t* list = result_list(holder);
    size_t from = 0;
    for (int i = 1; i <= count; ++i) push_answer(L, lua_tostring(L, i), list, &from);
    holder_clear(holder);
    return count;
}

/// ox.set(path, value [, options]), ox.set({path = value, ...} [, options])
int set(lua_State* L) {
    require_writable(L);
    bool many = lua_type(L, 1) == LUA_TTABLE && !object_path(L, 1);
    luaL_argcheck(L, many || !lua_isnoneornil(L, 2), 2, "a value expected (ox.null for none)");
    lua_settop(L, 3);
    const char* path = many ? "" : check_path(L, 1);
    Holder* holder = holder_push(L, many ? 2 : 3, DRY_RUN_OPTION);
    if (int refused = dry_run_refused(L, holder)) return refused;
    holder->json = json_array();
    if (many) {
        add_values(L, 1, holder->json, "");
    } else if (ox_tr_path_is_partial(path) && lua_istable(L, 2)) {
        add_values(L, 2, holder->json, path);
    } else {
        json_add(L, 2, add_named(L, holder->json, path), OX_TR_VALUE);
    }
    json_t* list = holder->json;
    holder->json = nullptr;
    ox_jrpcmsg* request = dry_run_mark(holder, ox_jrpcmsg_cmd_set_parameter_values_new(list));
    if (!exchange(L, holder, request)) return failure(L, holder);
    holder_clear(holder);
    lua_pushboolean(L, 1);
    return 1;
}

/// ox.config(path [, options]): the subtree at the path itself.
int config(lua_State* L) {
    lua_settop(L, 2);
    if (lua_isnil(L, 1)) {
        lua_pushliteral(L, ".");
        lua_replace(L, 1);
    }
    const char* path = check_path(L, 1);
    Holder* holder = holder_push(L, 2);
    holder->json = json_pack("{s:s}", OX_TR_PATH, path);
    json_t* params = holder->json;
    holder->json = nullptr;
    if (!exchange(L, holder, ox_jrpcmsg_create_new("GetConfig", params))) return failure(L, holder);
    json_t* tree = ox_conf_find_branch(result_member(holder, OX_TR_CONFIG), path);
    bool pattern = strstr(path, OX_TR_TEMPLATE) || strchr(path, '*');
    if (!tree && !pattern && json_object_size(result_member(holder, OX_TR_CONFIG)) > 0) {
        // The daemon answers for the nearest ancestor where there is no such path.
        ox_jrpcmsg_set_error(holder->message, 9005, "Invalid parameter name", path);
        return failure(L, holder);
    }
    if (tree) {
        json_to_lua(L, tree, true);
    } else {
        lua_newtable(L);
    }
    holder_clear(holder);
    return 1;
}

/// ox.select(selector [, options]): a table of paths and their values, and the paths in their order.
int select(lua_State* L) {
    const char* selector = luaL_checkstring(L, 1);
    lua_settop(L, 2);
    Holder* holder = holder_push(L, 2);
    json_t* params = json_pack("{s:s}", OX_TR_SELECTOR, selector);
    check_memory(L);
    if (!params) return luaL_argerror(L, 1, "a selector must be valid UTF-8");
    if (!exchange(L, holder, ox_jrpcmsg_create_new("Select", params))) return failure(L, holder);
    json_t* matches = result_member(holder, OX_TR_MATCHES);
    lua_newtable(L);
    lua_newtable(L);
    lua_Integer count = 0;
    const char* key;
    json_t* value;
    json_object_foreach(matches, key, value) {
        json_to_lua(L, value, true);
        lua_setfield(L, -3, key);
        lua_pushstring(L, key);
        lua_rawseti(L, -2, ++count);
    }
    holder_clear(holder);
    return 2;
}

/// Whether a table below an object is a value of its own, not an object with names or with instances: it
/// begins at 1 and holds anything but tables by number, or it is marked by ox.json.array.
bool is_list(lua_State* L, int index) {
    if (is_marked_array(L, index)) return true;
    if (lua_rawlen(L, index) == 0) return false;
    lua_pushnil(L);
    while (lua_next(L, index) != 0) {
        bool instance = lua_isinteger(L, -2) && lua_istable(L, -1);
        lua_pop(L, 1);
        if (!instance) {
            lua_pop(L, 1);
            return true;
        }
    }
    return false;
}

}  // namespace

bool push_value(lua_State* L, Holder* holder, const char* path) {
    json_t* names = json_pack("[s]", path);
    if (!exchange(L, holder, ox_jrpcmsg_cmd_get_parameter_values_new(names))) return false;
    json_to_lua(L, json_object_get(json_array_get(result_list(holder), 0), OX_TR_VALUE));
    return true;
}

void add_values(lua_State* L, int index, json_t* list, const char* prefix) {
    luaL_checkstack(L, LUA_MINSTACK, "values nested too deep");
    luaL_argcheck(L, strlen(prefix) < 4096, 1, "values nested too deep");
    index = lua_absindex(L, index);
    lua_pushnil(L);
    while (lua_next(L, index) != 0) {
        if (lua_type(L, -2) != LUA_TSTRING && lua_type(L, -2) != LUA_TNUMBER) {
            luaL_error(L, "a path expected, got a %s", luaL_typename(L, -2));
        }
        lua_pushvalue(L, -2);
        lua_pushfstring(L, "%s%s", prefix, lua_tostring(L, -1));
        lua_remove(L, -2);
        const char* path = check_path(L, lua_gettop(L));
        bool object = ox_tr_path_is_partial(path);
        if (lua_istable(L, -2) && (object || (*prefix && !is_list(L, lua_gettop(L) - 1)))) {
            if (!object) {
                lua_pushliteral(L, ".");
                lua_concat(L, 2);
            }
            add_values(L, lua_gettop(L) - 1, list, lua_tostring(L, -1));
        } else {
            json_add(L, lua_gettop(L) - 1, add_named(L, list, path), OX_TR_VALUE);
        }
        lua_pop(L, 2);
    }
}

// Called with the table `ox` on top.
void values_open(lua_State* L) {
    static const luaL_Reg functions[] = {
        {"get", get}, {"set", set}, {"config", config}, {"select", select}, {nullptr, nullptr}};
    luaL_setfuncs(L, functions, 0);
}
