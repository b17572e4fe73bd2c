// ox.object: objects of the model as tables. Such a table is empty; its metatable asks the daemon.
#include "object.hpp"

#include <string.h>

#include "json.hpp"
#include "model.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_tr.hpp"
#include "request.hpp"
#include "values.hpp"

namespace {

const char* const OBJECT = "ox.object";    // the metatable
const char* const PATHS = "ox.paths";      // object -> path with final ".", "" for the root (weak keys)
const char* const SCHEMAS = "ox.schemas";  // schema path -> kinds of its children by name
enum { FAULT_NAME = 9005 };

enum ChildKind { CHILD_NONE, CHILD_OBJECT, CHILD_METHOD, CHILD_PARAMETER };

void push_object(lua_State* L, const char* path) {
    lua_newtable(L);
    luaL_setmetatable(L, OBJECT);
    lua_getfield(L, LUA_REGISTRYINDEX, PATHS);
    lua_pushvalue(L, -2);
    lua_pushstring(L, path);
    lua_rawset(L, -3);
    lua_pop(L, 1);
}

const char* own_path(lua_State* L) {
    const char* path = object_path(L, 1);
    if (!path) luaL_argerror(L, 1, "an object of ox.object expected");
    return path;
}

const char* request_path(const char* path) {
    return *path ? path : ".";
}

/// The child's own name in a full name: empty for the object itself and for what lies elsewhere. Where no dot
/// follows, it ends with the full name.
std::string_view child_name(const char* full, const char* object) {
    const char* below = ox_tr_path_below(full, object);
    return below ? *ox_tr_components(below).begin() : std::string_view();
}

ChildKind kind_of(const char* name, json_t* attributes) {
    if (ox_tr_path_is_partial(name)) return CHILD_OBJECT;
    switch (ox_tr_dm_type_parse(json_string_value(json_object_get(attributes, "type")))) {
        case OX_TR_OBJECT:
            return CHILD_OBJECT;
        case OX_TR_METHOD:
            return CHILD_METHOD;
        default:
            return CHILD_PARAMETER;
    }
}

/// Pushes the table of the children's kinds; asks the daemon once for each kind of object.
void push_kinds(lua_State* L, const char* path) {
    luaL_getsubtable(L, LUA_REGISTRYINDEX, SCHEMAS);
    const char* schema = push_template_path(L, path, ox_tr_is_instance);
    lua_pushvalue(L, -1);
    if (lua_rawget(L, -3) == LUA_TTABLE) {
        lua_replace(L, -3);
        lua_pop(L, 1);
        return;
    }
    lua_pop(L, 1);
    Holder* holder = holder_push(L);
    json_t* names = json_pack("[s]", request_path(schema));
    if (!exchange(L, holder, ox_jrpcmsg_cmd_get_parameter_attributes_new(names, 1))) raise_failure(L, holder);
    lua_newtable(L);
    for (auto [name, entry] : ox_tr_elements(result_list(holder))) {
        std::string_view child = child_name(name, schema);
        if (child.empty()) continue;
        lua_pushlstring(L, child.data(), child.size());
        lua_pushinteger(L, kind_of(name, json_object_get(entry, OX_TR_ATTRIBUTES)));
        lua_rawset(L, -3);
    }
    holder_clear(holder);
    // The stack holds the schemas, the schema path, the holder and the kinds.
    lua_pushvalue(L, -3);
    lua_pushvalue(L, -2);
    lua_rawset(L, -6);
    lua_replace(L, -4);
    lua_pop(L, 2);
}

ChildKind child_kind(lua_State* L, const char* path, const char* name) {
    push_kinds(L, path);
    lua_getfield(L, -1, name);
    auto kind = static_cast<ChildKind>(lua_tointeger(L, -1));
    lua_pop(L, 2);
    return kind;
}

/// Calls the method whose path is the upvalue, with a table of arguments: dev.IP.Diagnostics.IPPing{Host =
/// h}. Its own object may stand in front: dev.IP.Diagnostics:IPPing{Host = h}.
int call_method(lua_State* L) {
    const char* path = lua_tostring(L, lua_upvalueindex(1));
    const char* object = object_path(L, 1);
    if (object) {
        size_t length = strlen(object);
        bool own = strncmp(path, object, length) == 0 && ox_tr_path_leaf(path).data() == path + length;
        luaL_argcheck(L, own, 1, "a table of arguments expected, not an object of ox.object");
        lua_remove(L, 1);
    }
    lua_settop(L, 1);
    Holder* holder = holder_push(L);
    return execute(L, holder, path, 1) ? 1 : raise_failure(L, holder);
}

/// Pushes the instance's object, or nil where there is none.
int index_instance(lua_State* L, const char* path, lua_Integer number) {
    if (number < 1) return 0;
    const char* child = lua_pushfstring(L, "%s%I.", path, static_cast<LUAI_UACINT>(number));
    Holder* holder = holder_push(L);
    if (exchange(L, holder, ox_jrpcmsg_cmd_get_parameter_names(child, 1))) {
        holder_clear(holder);
        push_object(L, child);
        return 1;
    }
    if (holder->message->error_code != FAULT_NAME) return raise_failure(L, holder);
    holder_clear(holder);
    return 0;
}

/// Whether the key is an instance number, as a number or as a text of digits.
bool is_instance_key(lua_State* L, int index, lua_Integer* number) {
    int exact = 0;
    *number = lua_tointegerx(L, index, &exact);
    return exact != 0;
}

int object_index(lua_State* L) {
    const char* path = own_path(L);
    lua_Integer number = 0;
    if (is_instance_key(L, 2, &number)) return index_instance(L, path, number);
    if (lua_type(L, 2) != LUA_TSTRING) return 0;
    const char* name = lua_tostring(L, 2);
    switch (child_kind(L, path, name)) {
        case CHILD_OBJECT:
            push_object(L, lua_pushfstring(L, "%s%s.", path, name));
            return 1;
        case CHILD_METHOD:
            lua_pushfstring(L, "%s%s", path, name);
            lua_pushcclosure(L, call_method, 1);
            return 1;
        case CHILD_PARAMETER:
            break;
        default:
            return 0;
    }
    Holder* holder = holder_push(L);
    if (!push_value(L, holder, lua_pushfstring(L, "%s%s", path, name))) return raise_failure(L, holder);
    holder_clear(holder);
    return 1;
}

int delete_instance(lua_State* L, const char* path, lua_Integer number) {
    const char* child = lua_pushfstring(L, "%s%I.", path, static_cast<LUAI_UACINT>(number));
    Holder* holder = holder_push(L);
    if (!exchange(L, holder, ox_jrpcmsg_cmd_delete_object(child))) return raise_failure(L, holder);
    holder_clear(holder);
    return 0;
}

int object_newindex(lua_State* L) {
    require_writable(L);
    const char* path = own_path(L);
    lua_Integer number = 0;
    bool instance = is_instance_key(L, 2, &number);
    if (instance && lua_isnil(L, 3)) return delete_instance(L, path, number);
    luaL_argcheck(L, !lua_isnil(L, 3), 3, "a value expected (ox.null for none)");
    luaL_checkstring(L, 2);
    if (instance) {
        lua_pushinteger(L, number);
    } else {
        lua_pushvalue(L, 2);
    }
    const char* name = lua_tostring(L, -1);
    bool object = instance || child_kind(L, path, name) == CHILD_OBJECT;
    if (object && !lua_istable(L, 3)) return luaL_error(L, "%s%s is an object: a table expected", path, name);
    Holder* holder = holder_push(L);
    holder->json = json_array();
    if (object) {
        add_values(L, 3, holder->json, lua_pushfstring(L, "%s%s.", path, name));
    } else {
        json_add(L, 3, add_named(L, holder->json, lua_pushfstring(L, "%s%s", path, name)), OX_TR_VALUE);
    }
    json_t* list = holder->json;
    holder->json = nullptr;
    if (!exchange(L, holder, ox_jrpcmsg_cmd_set_parameter_values_new(list))) return raise_failure(L, holder);
    holder_clear(holder);
    return 0;
}

/// Asks for the names of the children; the list is of the holder's message.
json_t* children_of(lua_State* L, Holder* holder, const char* path) {
    if (!exchange(L, holder, ox_jrpcmsg_cmd_get_parameter_names(request_path(path), 1))) {
        raise_failure(L, holder);
    }
    return result_list(holder);
}

int object_len(lua_State* L) {
    const char* path = own_path(L);
    Holder* holder = holder_push(L);
    lua_Integer count = 0;
    for (ox_tr_element element : ox_tr_elements(children_of(L, holder, path))) {
        if (ox_tr_is_instance(child_name(element.name, path))) ++count;
    }
    holder_clear(holder);
    lua_pushinteger(L, count);
    return 1;
}

/// Pushes a table with the values of the parameters among the children, by full name.
void push_child_values(lua_State* L, json_t* list, const char* path, int kinds) {
    Holder* holder = holder_push(L);
    holder->json = json_array();
    for (auto [name, entry] : ox_tr_elements(list)) {
        std::string_view child = child_name(name, path);
        if (child.empty() || ox_tr_path_is_partial(name)) continue;
        lua_getfield(L, kinds, child.data());
        bool method = lua_tointeger(L, -1) == CHILD_METHOD;
        lua_pop(L, 1);
        if (method) continue;
        json_array_append(holder->json, json_object_get(entry, OX_TR_NAME));
    }
    lua_newtable(L);
    if (json_array_size(holder->json) > 0) {
        json_t* names = holder->json;
        holder->json = nullptr;
        ox_jrpcmsg* message = ox_jrpcmsg_cmd_get_parameter_values_new(names);
        if (message) ox_jrpcmsg_add_parameter_json_new(message, OX_TR_IGNORE_ACCESS_ERROR, json_true());
        if (!exchange(L, holder, message)) raise_failure(L, holder);
        for (auto [name, entry] : ox_tr_elements(result_list(holder))) {
            json_to_lua(L, json_object_get(entry, OX_TR_VALUE));
            lua_setfield(L, -2, name);
        }
    }
    holder_clear(holder);
    lua_remove(L, -2);
}

/// Steps through the list of keys and values in the upvalues.
int pairs_next(lua_State* L) {
    lua_Integer at = lua_tointeger(L, lua_upvalueindex(2));
    lua_pushinteger(L, at + 2);
    lua_replace(L, lua_upvalueindex(2));
    if (lua_rawgeti(L, lua_upvalueindex(1), at) == LUA_TNIL) return 1;
    lua_rawgeti(L, lua_upvalueindex(1), at + 1);
    return 2;
}

/// Pushes what pairs gives for the child with that full name, or nil: the values are at 4, the kinds at 3.
/// While completing it gives methods too.
void push_child(lua_State* L, const char* full, std::string_view child) {
    if (ox_tr_path_is_partial(full)) {
        push_object(L, full);
        return;
    }
    if (lua_getfield(L, 4, full) != LUA_TNIL || !(context_of(L)->flags & OX_LUA_READ_ONLY)) return;
    lua_getfield(L, 3, child.data());
    bool method = lua_tointeger(L, -1) == CHILD_METHOD;
    lua_pop(L, 1);
    if (!method) return;
    lua_pop(L, 1);
    lua_pushstring(L, full);
    lua_pushcclosure(L, call_method, 1);
}

/// Instances by number, other objects and parameters by name, as they are at this moment, in model order.
int object_pairs(lua_State* L) {
    const char* path = own_path(L);
    lua_settop(L, 1);
    Holder* holder = holder_push(L);  // at stack index 2
    push_kinds(L, path);              // at 3
    json_t* list = children_of(L, holder, path);
    push_child_values(L, list, path, 3);  // at 4
    lua_newtable(L);                      // at 5: keys and values by turns
    lua_Integer count = 0;
    for (ox_tr_element element : ox_tr_elements(list)) {
        std::string_view child = child_name(element.name, path);
        if (child.empty()) continue;
        uint32_t number = 0;
        if (ox_tr_instance_number(child, &number)) {
            lua_pushinteger(L, number);
        } else {
            lua_pushlstring(L, child.data(), child.size());
        }
        push_child(L, element.name, child);
        if (lua_isnil(L, -1)) {  // one that may not be read
            lua_pop(L, 2);
            continue;
        }
        lua_rawseti(L, 5, count + 2);
        lua_rawseti(L, 5, count + 1);
        count += 2;
    }
    holder_clear(holder);
    lua_pushinteger(L, 1);
    lua_pushcclosure(L, pairs_next, 2);
    return 1;
}

int object_tostring(lua_State* L) {
    lua_pushstring(L, request_path(own_path(L)));
    return 1;
}

int object_eq(lua_State* L) {
    const char* left = object_path(L, 1);
    const char* right = object_path(L, 2);
    lua_pushboolean(L, left && right && strcmp(left, right) == 0);
    return 1;
}

/// ox.object(path)
int object(lua_State* L) {
    if (lua_isnoneornil(L, 1)) {
        lua_settop(L, 0);
        lua_pushliteral(L, ".");
    }
    const char* path = check_path(L, 1);
    if (strcmp(path, ".") == 0) {
        push_object(L, "");
    } else {
        push_object(L, lua_pushfstring(L, "%s%s", path, ox_tr_path_is_partial(path) ? "" : "."));
    }
    return 1;
}

}  // namespace

const char* object_path(lua_State* L, int index) {
    if (lua_type(L, index) != LUA_TTABLE) return nullptr;
    index = lua_absindex(L, index);
    lua_getfield(L, LUA_REGISTRYINDEX, PATHS);
    lua_pushvalue(L, index);
    lua_rawget(L, -2);
    // The text lives as long as the object does.
    const char* path = lua_tostring(L, -1);
    lua_pop(L, 2);
    return path;
}

// Called with the table `ox` on top.
void object_open(lua_State* L) {
    static const luaL_Reg methods[] = {
        {"__index", object_index}, {"__newindex", object_newindex}, {"__len", object_len},
        {"__pairs", object_pairs}, {"__tostring", object_tostring}, {"__eq", object_eq},
        {nullptr, nullptr}};
    luaL_newmetatable(L, OBJECT);
    luaL_setfuncs(L, methods, 0);
    lua_pop(L, 1);
    lua_newtable(L);
    lua_createtable(L, 0, 1);
    lua_pushliteral(L, "k");
    lua_setfield(L, -2, "__mode");
    lua_setmetatable(L, -2);
    lua_setfield(L, LUA_REGISTRYINDEX, PATHS);
    lua_pushcfunction(L, object);
    lua_setfield(L, -2, "object");
}
