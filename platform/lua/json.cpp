// JSON values and Lua values, each as the other.
#include "json.hpp"

#include <errno.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "json_decode.hpp"
#include "json_encode.hpp"
#include "memory.hpp"
#include "object.hpp"
#include "ox_tr_path.hpp"

namespace {

const char* const NULL_KEY = "ox.null";
const char* const ARRAY = "ox.array";
enum { DEPTH_LIMIT = 200 };

void push_array(lua_State* L, json_t* json, bool indexes) {
    size_t size = json_array_size(json);
    lua_createtable(L, static_cast<int>(size < 1000000 ? size : 0), 0);
    for (size_t i = 0; i < size; ++i) {
        json_to_lua(L, json_array_get(json, i), indexes);
        lua_rawseti(L, -2, static_cast<lua_Integer>(i) + 1);
    }
    if (size == 0) luaL_setmetatable(L, ARRAY);
}

void push_object(lua_State* L, json_t* json, bool indexes) {
    lua_newtable(L);
    const char* key;
    json_t* value;
    json_object_foreach(json, key, value) {
        uint32_t number = 0;
        if (indexes && ox_tr_instance_number(key, &number)) {
            lua_pushinteger(L, number);
        } else {
            lua_pushstring(L, key);
        }
        json_to_lua(L, value, indexes);
        lua_rawset(L, -3);
    }
}

/// Puts a new value in its place; raises an error when it could not be made.
void attach(lua_State* L, json_t* value, json_t* container, const char* key, const char* why) {
    int rc = key ? json_object_set_new(container, key, value) : json_array_append_new(container, value);
    if (rc == 0) return;
    check_memory(L);
    luaL_error(L, "%s", why);
}

bool has_metatable(lua_State* L, int index, const char* name) {
    if (!lua_getmetatable(L, index)) return false;
    luaL_getmetatable(L, name);
    bool same = lua_rawequal(L, -1, -2) != 0;
    lua_pop(L, 2);
    return same;
}

void add_value(lua_State* L, int index, json_t* container, const char* key, int depth);

void add_table(lua_State* L, int index, json_t* container, const char* key, int depth) {
    if (depth > DEPTH_LIMIT) luaL_error(L, "a table is nested too deep for JSON, or contains itself");
    luaL_checkstack(L, LUA_MINSTACK, "table nested too deep");
    bool array = is_json_array(L, index);
    json_t* json = array ? json_array() : json_object();
    attach(L, json, container, key, "not enough memory, or a key is not valid UTF-8");
    if (array) {
        auto length = static_cast<lua_Integer>(lua_rawlen(L, index));
        for (lua_Integer i = 1; i <= length; ++i) {
            lua_rawgeti(L, index, i);
            add_value(L, lua_gettop(L), json, nullptr, depth + 1);
            lua_pop(L, 1);
        }
        return;
    }
    lua_pushnil(L);
    while (lua_next(L, index) != 0) {
        int type = lua_type(L, -2);
        if (type != LUA_TSTRING && type != LUA_TNUMBER) {
            luaL_error(L, "a %s cannot be a key in JSON", lua_typename(L, type));
        }
        lua_pushvalue(L, -2);
        const char* name = lua_tostring(L, -1);
        if (strlen(name) != lua_rawlen(L, -1)) luaL_error(L, "a key with a zero byte cannot be JSON");
        add_value(L, lua_gettop(L) - 1, json, name, depth + 1);
        lua_pop(L, 2);
    }
}

void add_value(lua_State* L, int index, json_t* container, const char* key, int depth) {
    size_t length = 0;
    const char* text = nullptr;
    switch (lua_type(L, index)) {
        case LUA_TNIL:
            attach(L, json_null(), container, key, "not enough memory");
            return;
        case LUA_TBOOLEAN:
            attach(L, json_boolean(lua_toboolean(L, index)), container, key, "a key is not valid UTF-8");
            return;
        case LUA_TNUMBER:
            if (lua_isinteger(L, index)) {
                attach(L, json_integer(lua_tointeger(L, index)), container, key, "a key is not valid UTF-8");
            } else {
                attach(L, json_real(lua_tonumber(L, index)), container, key,
                       "a number that is not finite cannot be JSON");
            }
            return;
        case LUA_TSTRING:
            text = lua_tolstring(L, index, &length);
            attach(L, json_stringn(text, length), container, key, "a text is not valid UTF-8");
            return;
        case LUA_TTABLE:
            if (object_path(L, index)) luaL_error(L, "an object of ox.object cannot be JSON: use ox.config");
            add_table(L, index, container, key, depth);
            return;
        default:
            break;
    }
    if (!is_null(L, index)) luaL_error(L, "a %s cannot be JSON", luaL_typename(L, index));
    attach(L, json_null(), container, key, "not enough memory");
}

int null_text(lua_State* L) {
    lua_pushliteral(L, "null");
    return 1;
}

/// ox.json.array([table]): marks a table, so that it is an array in JSON also while it is empty.
int array(lua_State* L) {
    if (lua_isnoneornil(L, 1)) {
        lua_settop(L, 0);
        lua_newtable(L);
    }
    luaL_checktype(L, 1, LUA_TTABLE);
    lua_settop(L, 1);
    luaL_setmetatable(L, ARRAY);
    return 1;
}

}  // namespace

void json_to_lua(lua_State* L, json_t* json, bool indexes) {
    luaL_checkstack(L, 4, "JSON nested too deep");
    switch (json ? json_typeof(json) : JSON_NULL) {
        case JSON_OBJECT:
            push_object(L, json, indexes);
            break;
        case JSON_ARRAY:
            push_array(L, json, indexes);
            break;
        case JSON_STRING:
            lua_pushlstring(L, json_string_value(json), json_string_length(json));
            break;
        case JSON_INTEGER:
            lua_pushinteger(L, json_integer_value(json));
            break;
        case JSON_REAL:
            lua_pushnumber(L, json_real_value(json));
            break;
        case JSON_TRUE:
        case JSON_FALSE:
            lua_pushboolean(L, json_is_true(json));
            break;
        default:
            push_null(L);
            break;
    }
}

void json_add(lua_State* L, int index, json_t* container, const char* key) {
    add_value(L, lua_absindex(L, index), container, key, 0);
}

bool is_json_array(lua_State* L, int index) {
    size_t length = lua_rawlen(L, index);
    if (length == 0) {
        lua_pushnil(L);
        if (lua_next(L, index) != 0) {
            lua_pop(L, 2);
            return false;
        }
        return has_metatable(L, index, ARRAY);
    }
    size_t count = 0;
    lua_pushnil(L);
    while (lua_next(L, index) != 0) {
        lua_pop(L, 1);
        if (++count > length) {
            lua_pop(L, 1);
            return false;
        }
    }
    return count == length;
}

void push_array_mark(lua_State* L) {
    luaL_getmetatable(L, ARRAY);
}

bool is_marked_array(lua_State* L, int index) {
    return has_metatable(L, index, ARRAY);
}

void push_null(lua_State* L) {
    lua_getfield(L, LUA_REGISTRYINDEX, NULL_KEY);
}

bool is_null(lua_State* L, int index) {
    index = lua_absindex(L, index);
    push_null(L);
    bool same = lua_rawequal(L, index, -1) != 0;
    lua_pop(L, 1);
    return same;
}

// Called with the table `ox` on top.
void json_open(lua_State* L) {
    luaL_newmetatable(L, ARRAY);
    lua_pop(L, 1);
    lua_newuserdata(L, 1);
    lua_createtable(L, 0, 1);
    lua_pushcfunction(L, null_text);
    lua_setfield(L, -2, "__tostring");
    lua_setmetatable(L, -2);
    lua_pushvalue(L, -1);
    lua_setfield(L, LUA_REGISTRYINDEX, NULL_KEY);
    lua_setfield(L, -2, "null");
    static const luaL_Reg functions[] = {
        {"encode", json_encode}, {"decode", json_decode}, {"array", array}, {nullptr, nullptr}};
    luaL_newlib(L, functions);
    lua_setfield(L, -2, "json");
}
