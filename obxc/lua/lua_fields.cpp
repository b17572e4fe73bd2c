#include "lua/lua_fields.hpp"

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "ox_str.hpp"

LuaFieldSource lua_field_source = LUA_FIELDS_OWN;

namespace {

bool is_name_start(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool is_name_part(char c) {
    return is_name_start(c) || (c >= '0' && c <= '9');
}

/// The enumeration under way: a table in the registry with the iterator, its state and the last key.
struct Enumeration {
    bool active;
    int table;
    char separator;  ///< ".", ":", "[" or 0
    size_t stem;     ///< bytes of the word up to and with the separator
};
enum { ITERATOR = 1, STATE = 2, KEY = 3 };
Enumeration fields = {};

void end_enumeration(lua_State* L) {
    if (!fields.active) return;
    luaL_unref(L, LUA_REGISTRYINDEX, fields.table);
    fields.active = false;
}

/// Starts with the iterator, its state and its first key on top of the stack.
void begin_enumeration(lua_State* L) {
    lua_createtable(L, KEY, 0);
    lua_insert(L, -KEY - 1);
    int table = lua_gettop(L) - KEY;
    lua_rawseti(L, table, KEY);
    lua_rawseti(L, table, STATE);
    lua_rawseti(L, table, ITERATOR);
    fields.table = luaL_ref(L, LUA_REGISTRYINDEX);
    fields.active = true;
}

void push_global(lua_State* L, const char* name) {
    lua_pushglobaltable(L);
    lua_pushstring(L, name);
    lua_rawget(L, -2);
    lua_remove(L, -2);
}

/// Pushes the value whose fields are asked for; false when there is none.
bool push_subject(lua_State* L, const char* word) {
    if (!fields.separator) {
        lua_pushglobaltable(L);
        return true;
    }
    size_t length = fields.stem - 1;
    if (length == 0) return false;
    lua_pushliteral(L, "return ");
    lua_pushlstring(L, word, length);
    lua_concat(L, 2);
    if (luaL_loadstring(L, lua_tostring(L, -1)) != LUA_OK || lua_pcall(L, 0, 1, 0) != LUA_OK) return false;
    return lua_istable(L, -1) || lua_isuserdata(L, -1);
}

/// Starts the enumeration of the value on top by `pairs`.
bool begin_own(lua_State* L) {
    push_global(L, "pairs");
    if (!lua_isfunction(L, -1)) return false;
    lua_insert(L, -2);
    if (lua_pcall(L, 1, 3, 0) != LUA_OK) return false;
    begin_enumeration(L);
    return true;
}

/// Starts the enumeration of the "__index" of the value's metatable by `next`.
bool begin_metatable(lua_State* L) {
    int type = luaL_getmetafield(L, -1, "__index");
    if (type != LUA_TTABLE && type != LUA_TUSERDATA) return false;
    push_global(L, "next");
    lua_insert(L, -2);
    lua_pushnil(L);
    begin_enumeration(L);
    return true;
}

bool begin(lua_State* L, const char* word) {
    const char* last = nullptr;
    for (const char* at = word; *at; ++at) {
        if (strchr(".:[", *at)) last = at;
    }
    fields.separator = last ? *last : '\0';
    fields.stem = last ? static_cast<size_t>(last - word) + 1 : 0;
    if (!push_subject(L, word)) return false;
    return lua_field_source == LUA_FIELDS_OWN ? begin_own(L) : begin_metatable(L);
}

/// Pushes the next key and its value; false at the end.
bool next_field(lua_State* L) {
    lua_rawgeti(L, LUA_REGISTRYINDEX, fields.table);
    int table = lua_gettop(L);
    for (int i = ITERATOR; i <= KEY; ++i) lua_rawgeti(L, table, i);
    if (lua_pcall(L, 2, 2, 0) != LUA_OK || lua_isnil(L, -2)) return false;
    lua_pushvalue(L, -2);
    lua_rawseti(L, table, KEY);
    return true;
}

/// Pushes the candidate for the key at `key`, null when the key makes none.
const char* push_candidate(lua_State* L, int key, const char* prefix) {
    if (lua_type(L, key) == LUA_TSTRING) {
        const char* name = lua_tostring(L, key);
        if (fields.separator != '[') {
            lua_pushstring(L, name);
            return lua_tostring(L, -1);
        }
        char quote = *prefix == '\'' ? '\'' : '"';
        return lua_pushfstring(L, "%c%s%c]", quote, name, quote);
    }
    if (fields.separator != '[' || lua_type(L, key) != LUA_TNUMBER) return nullptr;
    lua_Integer number = lua_tointegerx(L, key, nullptr);
    auto exact = static_cast<float>(lua_tonumberx(L, key, nullptr));
    if (!(fabsf(exact - static_cast<float>(number)) < 1e-6F)) return nullptr;
    return lua_pushfstring(L, "%I]", static_cast<LUAI_UACINT>(number));
}

/// What may follow the complete name of the value at `value`.
const char* suffix_of(lua_State* L, int value) {
    if (lua_isfunction(L, value)) return "(";
    if (!lua_istable(L, value)) return "";
    lua_pushnil(L);
    if (lua_next(L, value) == 0) return "";
    return lua_type(L, -2) == LUA_TSTRING ? "." : "[";
}

/// The next field that continues the word, or null at the end.
char* next_match(lua_State* L, const char* word) {
    const char* prefix = word + fields.stem;
    size_t length = strlen(prefix);
    int top = lua_gettop(L);
    while (next_field(L)) {
        int value = lua_gettop(L);
        const char* candidate = push_candidate(L, value - 1, prefix);
        if (candidate && strncmp(candidate, prefix, length) == 0 &&
            (fields.separator != ':' || lua_isfunction(L, value))) {
            const char* suffix = candidate[length] ? "" : suffix_of(L, value);
            return ox_str_printf_new("%.*s%s%s", static_cast<int>(fields.stem), word, candidate, suffix);
        }
        lua_settop(L, top);
    }
    end_enumeration(L);
    return nullptr;
}

}  // namespace

void lua_complete_forget(void) {
    fields.active = false;
}

bool lua_is_dotted_name(const char* text) {
    do {
        if (!is_name_start(*text)) return false;
        while (is_name_part(*text)) ++text;
    } while (*text++ == '.');
    return text[-1] == '\0';
}

char* lua_complete_expression(lua_State* L, const char* word, int state) {
    int top = lua_gettop(L);
    if (!lua_checkstack(L, LUA_MINSTACK)) return nullptr;
    if (state == 0) {
        end_enumeration(L);
        if (!begin(L, word)) {
            lua_settop(L, top);
            return nullptr;
        }
    }
    char* candidate = fields.active ? next_match(L, word) : nullptr;
    lua_settop(L, top);
    return candidate;
}
