// Instances, names, attributes and methods of the model.
#include "model.hpp"

#include <stdlib.h>
#include <string.h>

#include "change.hpp"
#include "json.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_tr.hpp"
#include "request.hpp"
#include "values.hpp"

namespace {

void push_result_number(lua_State* L, const Holder* holder) {
    lua_pushinteger(L, json_integer_value(result_member(holder, OX_TR_INSTANCE_NUMBER)));
}

/// Puts `object` in the place of the first `length` bytes of each name in a list of names and values.
void move_names(lua_State* L, json_t* list, size_t length, const char* object) {
    for (auto [name, entry] : ox_tr_elements(list)) {
        const char* moved = lua_pushfstring(L, "%s%s", object, name + length);
        json_object_set_new(entry, OX_TR_NAME, json_string(moved));
        lua_pop(L, 1);
    }
}

/// ox.add(path [, values [, options]]): the new instance's number. What cannot be sent adds none, and an
/// instance whose values are refused goes again.
int add(lua_State* L) {
    require_writable(L);
    lua_settop(L, 3);
    const char* path = check_path(L, 1);
    if (!lua_isnil(L, 2)) luaL_checktype(L, 2, LUA_TTABLE);
    const char* table = lua_pushfstring(L, "%s%s", path, ox_tr_path_is_partial(path) ? "" : ".");
    Holder* holder = holder_push(L, 3, DRY_RUN_OPTION);
    if (int refused = dry_run_refused(L, holder)) return refused;
    holder->json = json_array();
    if (!lua_isnil(L, 2)) add_values(L, 2, holder->json, table);
    if (holder->marked) move_names(L, holder->json, strlen(table), "");
    ox_jrpcmsg* request = dry_run_mark(holder, ox_jrpcmsg_cmd_add_object(path));
    if (holder->marked)
        ox_jrpcmsg_add_parameter_json_new(request, OX_TR_PARAMETER_LIST, json_incref(holder->json));
    if (!exchange(L, holder, request)) return failure(L, holder);
    push_result_number(L, holder);
    if (lua_isnil(L, 2) || holder->marked) {
        holder_clear(holder);
        return 1;
    }
    const char* object = lua_pushfstring(L, "%s%I.", table, static_cast<LUAI_UACINT>(lua_tointeger(L, -1)));
    move_names(L, holder->json, strlen(table), object);
    json_t* list = holder->json;
    holder->json = nullptr;
    if (exchange(L, holder, ox_jrpcmsg_cmd_set_parameter_values_new(list))) {
        holder_clear(holder);
        lua_pop(L, 1);
        return 1;
    }
    Holder* undo = holder_push(L);
    exchange(L, undo, ox_jrpcmsg_cmd_delete_object(object));
    holder_clear(undo);
    return failure(L, holder);
}

/// ox.del(path [, options])
int del(lua_State* L) {
    require_writable(L);
    lua_settop(L, 2);
    const char* path = check_path(L, 1);
    Holder* holder = holder_push(L, 2, DRY_RUN_OPTION);
    if (int refused = dry_run_refused(L, holder)) return refused;
    ox_jrpcmsg* request = dry_run_mark(holder, ox_jrpcmsg_cmd_delete_object(path));
    if (!exchange(L, holder, request)) return failure(L, holder);
    holder_clear(holder);
    lua_pushboolean(L, 1);
    return 1;
}

/// ox.names(path [, deep] [, options]): full names, those of objects with a final ".".
int names(lua_State* L) {
    lua_settop(L, 3);
    const char* path = check_path(L, 1);
    bool deep = !lua_istable(L, 2) && lua_toboolean(L, 2);
    Holder* holder = holder_push(L, lua_istable(L, 2) ? 2 : 3);
    if (!exchange(L, holder, ox_jrpcmsg_cmd_get_parameter_names(path, !deep))) return failure(L, holder);
    lua_newtable(L);
    lua_Integer count = 0;
    for (ox_tr_element element : ox_tr_elements(result_list(holder))) {
        json_to_lua(L, json_object_get(element.json, OX_TR_NAME));
        lua_rawseti(L, -2, ++count);
    }
    holder_clear(holder);
    return 1;
}

/// The request for the attributes of a node and `level` levels below it.
ox_jrpcmsg* attributes_request(const char* path, int level, bool details) {
    ox_jrpcmsg* message = ox_jrpcmsg_cmd_get_parameter_attributes_new(json_pack("[s]", path), level);
    if (details) ox_jrpcmsg_add_parameter_json_new(message, OX_TR_DETAILS, json_true());
    return message;
}

json_t* first_attributes(const Holder* holder) {
    return json_object_get(json_array_get(result_list(holder), 0), OX_TR_ATTRIBUTES);
}

/// ox.attrs(path [, options]): the node's attributes, with {details = true} what they hold on request.
int attrs(lua_State* L) {
    lua_settop(L, 2);
    const char* path = check_path(L, 1);
    Holder* holder = holder_push(L, 2, "details");
    if (!exchange(L, holder, attributes_request(path, 0, holder->marked))) return failure(L, holder);
    json_to_lua(L, first_attributes(holder));
    holder_clear(holder);
    return 1;
}

/// ox.page(path [, columns [, options]]): what is to be read about the node.
int page(lua_State* L) {
    enum { COLUMNS = 80, COLUMNS_MAX = 100000 };
    lua_settop(L, 3);
    const char* path = check_path(L, 1);
    lua_Integer columns = luaL_optinteger(L, 2, COLUMNS);
    luaL_argcheck(L, columns >= 0 && columns <= COLUMNS_MAX, 2, "no number of columns");
    Holder* holder = holder_push(L, 3);
    if (!exchange(L, holder, attributes_request(path, 0, true))) return failure(L, holder);
    holder->json = json_incref(first_attributes(holder));
    const char* type = json_string_value(json_object_get(holder->json, "type"));
    Holder* more = holder_push(L, 3);
    if (ox_tr_dm_type_parse(type) == OX_TR_METHOD) {
        const char* name = lua_pushfstring(L, "%s.%s.", path, OX_TR_INPUT);
        exchange(L, more, attributes_request(name, -1, true));  // a refusal: it has none
    } else if (ox_tr_dm_type_parse(type) == OX_TR_OBJECT &&
               exchange(L, more, ox_jrpcmsg_cmd_get_datamodel_new(json_pack("[s]", "."), -1))) {
        more->json = ox_tr_referrers_new(result_member(more, OX_TR_DATAMODEL), path);
    }
    char* text =
        ox_tr_page_new(path, holder->json, result_list(more), more->json, static_cast<size_t>(columns));
    holder_clear(holder);
    holder_clear(more);
    lua_pushstring(L, text);
    free(text);
    return 1;
}

/// ox.exec(path [, args [, options]])
int exec(lua_State* L) {
    lua_settop(L, 3);
    const char* path = check_path(L, 1);
    Holder* holder = holder_push(L, 3);
    return execute(L, holder, path, 2) ? 1 : failure(L, holder);
}

/// ox.call(method [, params [, options]]): any request, its result as it comes. With {once = true} it is not
/// sent again when the connection is lost before its answer came.
int call(lua_State* L) {
    require_writable(L);
    const char* method = luaL_checkstring(L, 1);
    lua_settop(L, 3);
    Holder* holder = holder_push(L, 3, "once");
    holder->once = holder->marked;
    holder->json = json_object();
    if (!lua_isnil(L, 2)) {
        luaL_checktype(L, 2, LUA_TTABLE);
        json_add(L, 2, holder->json, "params");
    }
    json_t* params = json_incref(json_object_get(holder->json, "params"));
    if (!exchange(L, holder, ox_jrpcmsg_create_new(method, params))) return failure(L, holder);
    json_to_lua(L, ox_jrpcmsg_get_result_json(holder->message));
    holder_clear(holder);
    return 1;
}

}  // namespace

bool execute(lua_State* L, Holder* holder, const char* path, int index) {
    require_writable(L);
    holder->json = json_array();
    if (!lua_isnil(L, index)) {
        luaL_checktype(L, index, LUA_TTABLE);
        add_values(L, index, holder->json, "");
    }
    json_t* args = holder->json;
    holder->json = nullptr;
    if (!exchange(L, holder, ox_jrpcmsg_cmd_execute_new(path, args))) return false;
    lua_newtable(L);
    for (auto [name, entry] : ox_tr_elements(result_list(holder))) {
        const char* below = ox_tr_path_below(name, path);
        json_to_lua(L, json_object_get(entry, OX_TR_VALUE));
        lua_setfield(L, -2, below && *below == '.' ? below + 1 : name);
    }
    holder_clear(holder);
    return true;
}

// Called with the table `ox` on top.
void model_open(lua_State* L) {
    static const luaL_Reg functions[] = {{"add", add},     {"del", del},      {"names", names},
                                         {"attrs", attrs}, {"page", page},    {"exec", exec},
                                         {"call", call},   {nullptr, nullptr}};
    luaL_setfuncs(L, functions, 0);
}
