// Lua values as JSON text.
//
// An object's entries are written in the order of the table, then brought into the order of their keys.
#include "json_encode.hpp"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "json.hpp"
#include "json_number.hpp"
#include "json_utf8.hpp"
#include "memory.hpp"
#include "object.hpp"

namespace {

const char* const TEXT = "ox.json.text";
enum { DEPTH_LIMIT = 200 };

/// An entry of an object in the text: `"key":value,`.
struct Entry {
    const char* key;  ///< the table's own text, or null: the key is in the text as it is
    size_t length;    ///< of the key
    size_t start;
    size_t key_start;
    size_t end;
    uint64_t
        rank;  ///< the eight bytes of the key behind what all keys have in common, as one big-endian number
};

/// The text that is being written; a userdata, so that the collector releases it after an error.
struct Text {
    char* data;
    size_t size;
    size_t capacity;
    Entry* entries;  ///< of the objects that are open, the innermost one's last
    size_t entry_count;
    size_t entry_capacity;
    size_t indent;  ///< blanks a level, 0: one line
};

int text_free(lua_State* L) {
    auto* text = static_cast<Text*>(lua_touserdata(L, 1));
    free(text->data);
    free(text->entries);
    text->data = nullptr;
    text->entries = nullptr;
    return 0;
}

Text* text_push(lua_State* L) {
    auto* text = static_cast<Text*>(lua_newuserdata(L, sizeof(Text)));
    *text = {};
    if (luaL_newmetatable(L, TEXT)) {
        lua_pushcfunction(L, text_free);
        lua_setfield(L, -2, "__gc");
    }
    lua_setmetatable(L, -2);
    return text;
}

/// `pointer` with room for `size` bytes. When there is none, garbage is collected before the error is raised.
void* grow(lua_State* L, void* pointer, size_t size) {
    void* grown = realloc(pointer, size);
    if (!grown) {
        lua_gc(L, LUA_GCCOLLECT, 0);
        grown = realloc(pointer, size);
    }
    if (!grown) raise_memory(L);
    return grown;
}

/// Makes room for `count` more bytes and returns where they begin.
char* reserve(lua_State* L, Text* text, size_t count) {
    if (text->capacity - text->size < count) {
        size_t capacity = std::max(text->size + count, text->capacity + text->capacity / 2);
        text->data = static_cast<char*>(grow(L, text->data, capacity));
        text->capacity = capacity;
    }
    return text->data + text->size;
}

void write(lua_State* L, Text* text, const char* piece, size_t size) {
    memcpy(reserve(L, text, size), piece, size);
    text->size += size;
}

void write_char(lua_State* L, Text* text, char c) {
    *reserve(L, text, 1) = c;
    ++text->size;
}

/// Begins a line of that depth.
void write_break(lua_State* L, Text* text, int depth) {
    if (text->indent == 0) return;
    size_t blanks = text->indent * static_cast<size_t>(depth);
    char* at = reserve(L, text, blanks + 1);
    *at = '\n';
    memset(at + 1, ' ', blanks);
    text->size += blanks + 1;
}

/// The character of a short escape, 0 where there is none.
char escape_of(unsigned char c) {
    static const char from[] = "\"\\\b\f\n\r\t";
    static const char to[] = "\"\\bfnrt";
    const char* found = c ? strchr(from, c) : nullptr;
    return found ? to[found - from] : '\0';
}

void write_escape(lua_State* L, Text* text, unsigned char c) {
    static const char digits[] = "0123456789ABCDEF";
    char* at = reserve(L, text, 6);
    char escape = escape_of(c);
    if (escape) {
        at[0] = '\\';
        at[1] = escape;
        text->size += 2;
        return;
    }
    memcpy(at, "\\u00", 4);  // NOLINT(bugprone-not-null-terminated-result): a piece of a text
    at[4] = digits[c >> 4];
    at[5] = digits[c & 15];
    text->size += 6;
}

void write_text(lua_State* L, Text* text, const char* from, size_t size, const char* what) {
    write_char(L, text, '"');
    const char* end = from + size;
    while (from < end) {
        const char* stop = json_plain_end(from, end);
        write(L, text, from, static_cast<size_t>(stop - from));
        from = stop;
        if (from == end) break;
        if (static_cast<unsigned char>(*from) >= 0x80) luaL_error(L, "%s is not valid UTF-8", what);
        write_escape(L, text, static_cast<unsigned char>(*from++));
    }
    write_char(L, text, '"');
}

void write_number(lua_State* L, Text* text, int index) {
    char* at = reserve(L, text, JSON_NUMBER_MAX);
    if (lua_isinteger(L, index)) {
        char* end = std::to_chars(at, at + JSON_NUMBER_MAX, lua_tointeger(L, index)).ptr;
        text->size += static_cast<size_t>(end - at);
        return;
    }
    size_t size = json_write_real(at, lua_tonumber(L, index));
    if (size == 0) luaL_error(L, "a number that is not finite cannot be JSON");
    text->size += size;
}

Entry* new_entry(lua_State* L, Text* text) {
    if (text->entry_count == text->entry_capacity) {
        size_t capacity = text->entry_capacity ? text->entry_capacity * 2 : 32;
        text->entries = static_cast<Entry*>(grow(L, text->entries, capacity * sizeof(Entry)));
        text->entry_capacity = capacity;
    }
    return &text->entries[text->entry_count++];
}

void write_value(lua_State* L, Text* text, int index, int depth);

/// Writes the entry whose key and value are on top, and pops the value.
void write_entry(lua_State* L, Text* text, int depth) {
    int value = lua_gettop(L);
    int type = lua_type(L, value - 1);
    if (type != LUA_TSTRING && type != LUA_TNUMBER) {
        luaL_error(L, "a %s cannot be a key in JSON", lua_typename(L, type));
    }
    Entry entry = {};
    entry.start = text->size;
    write_break(L, text, depth);
    entry.key_start = text->size + 1;
    if (type == LUA_TNUMBER) lua_pushvalue(L, value - 1);  // lua_next needs the number itself
    const char* key = lua_tolstring(L, type == LUA_TNUMBER ? -1 : value - 1, &entry.length);
    if (memchr(key, 0, entry.length)) luaL_error(L, "a key with a zero byte cannot be JSON");
    if (type == LUA_TSTRING) entry.key = key;
    write_text(L, text, key, entry.length, "a key");
    write(L, text, ": ", text->indent > 0 ? 2 : 1);
    write_value(L, text, value, depth);
    write_char(L, text, ',');
    entry.end = text->size;
    *new_entry(L, text) = entry;
    lua_settop(L, value - 1);
}

std::string_view key_of(const Text* text, const Entry& entry) {
    return {entry.key ? entry.key : text->data + entry.key_start, entry.length};
}

/// Ranks the entries: most of them then differ by rank alone, and their keys need no comparison.
void rank_entries(const Text* text, Entry* begin, const Entry* end) {
    std::string_view first = key_of(text, *begin);
    size_t common = first.size();
    for (const Entry* entry = begin + 1; entry < end && common > 0; ++entry) {
        std::string_view key = key_of(text, *entry);
        auto differ = std::mismatch(key.begin(), key.end(), first.begin(), first.begin() + common).first;
        common = static_cast<size_t>(differ - key.begin());
    }
    for (Entry* entry = begin; entry < end; ++entry) {
        std::string_view rest = key_of(text, *entry);
        rest.remove_prefix(common);
        entry->rank = 0;
        for (size_t i = 0; i < 8; ++i) {
            entry->rank = entry->rank << 8 | (i < rest.size() ? static_cast<unsigned char>(rest[i]) : 0);
        }
    }
}

/// Brings the entries from `first` on into the order of their keys. Of a number and a text that are the same
/// key only one stays.
void sort_entries(lua_State* L, Text* text, size_t first) {
    Entry* begin = text->entries + first;
    Entry* end = text->entries + text->entry_count;
    auto before = [text](const Entry& a, const Entry& b) { return key_of(text, a) < key_of(text, b); };
    auto wrong = [&before](const Entry& a, const Entry& b) { return !before(a, b); };
    if (std::adjacent_find(begin, end, wrong) == end) return;
    size_t start = begin->start;
    size_t size = text->size - start;
    char* copy = reserve(L, text, size);
    rank_entries(text, begin, end);
    std::sort(begin, end, [&before](const Entry& a, const Entry& b) {
        return a.rank != b.rank ? a.rank < b.rank : before(a, b);
    });
    size_t used = 0;
    for (const Entry* entry = begin; entry < end; ++entry) {
        if (entry + 1 < end && key_of(text, entry[0]) == key_of(text, entry[1])) continue;
        memcpy(copy + used, text->data + entry->start, entry->end - entry->start);
        used += entry->end - entry->start;
    }
    memcpy(text->data + start, copy, used);
    text->size = start + used;
}

/// Ends a list that is not empty: `depth` is its own.
void close_list(lua_State* L, Text* text, char bracket, int depth) {
    --text->size;  // the last comma
    write_break(L, text, depth);
    write_char(L, text, bracket);
}

void write_array(lua_State* L, Text* text, int index, int depth) {
    auto length = static_cast<lua_Integer>(lua_rawlen(L, index));
    write_char(L, text, '[');
    for (lua_Integer i = 1; i <= length; ++i) {
        write_break(L, text, depth + 1);
        lua_rawgeti(L, index, i);
        write_value(L, text, lua_gettop(L), depth + 1);
        lua_pop(L, 1);
        write_char(L, text, ',');
    }
    if (length > 0) {
        close_list(L, text, ']', depth);
    } else {
        write_char(L, text, ']');
    }
}

void write_object(lua_State* L, Text* text, int index, int depth) {
    size_t first = text->entry_count;
    write_char(L, text, '{');
    lua_pushnil(L);
    while (lua_next(L, index) != 0) write_entry(L, text, depth + 1);
    if (text->entry_count == first) {
        write_char(L, text, '}');
        return;
    }
    sort_entries(L, text, first);
    text->entry_count = first;
    close_list(L, text, '}', depth);
}

void write_table(lua_State* L, Text* text, int index, int depth) {
    if (depth > DEPTH_LIMIT) luaL_error(L, "a table is nested too deep for JSON, or contains itself");
    if (object_path(L, index)) luaL_error(L, "an object of ox.object cannot be JSON: use ox.config");
    luaL_checkstack(L, LUA_MINSTACK, "table nested too deep");
    (is_json_array(L, index) ? write_array : write_object)(L, text, index, depth);
}

void write_value(lua_State* L, Text* text, int index, int depth) {
    size_t length = 0;
    const char* from = nullptr;
    switch (lua_type(L, index)) {
        case LUA_TNUMBER:
            write_number(L, text, index);
            return;
        case LUA_TSTRING:
            from = lua_tolstring(L, index, &length);
            write_text(L, text, from, length, "a text");
            return;
        case LUA_TTABLE:
            write_table(L, text, index, depth);
            return;
        case LUA_TBOOLEAN:
            from = lua_toboolean(L, index) ? "true" : "false";
            break;
        default:
            if (!lua_isnil(L, index) && !is_null(L, index)) {
                luaL_error(L, "a %s cannot be JSON", luaL_typename(L, index));
            }
            from = "null";
            break;
    }
    write(L, text, from, strlen(from));
}

}  // namespace

// ox.json.encode(value [, indent])
int json_encode(lua_State* L) {
    luaL_checkany(L, 1);
    auto indent = static_cast<size_t>(luaL_optinteger(L, 2, 0));
    luaL_argcheck(L, indent <= 31, 2, "an indentation of 0 to 31 expected");
    lua_settop(L, 1);
    Text* text = text_push(L);
    text->indent = indent;
    write_value(L, text, 1, 0);
    lua_pushlstring(L, text->data, text->size);
    free(text->data);
    text->data = nullptr;
    return 1;
}
