// JSON text as Lua values.
//
// A text that this reader does not take, because it is wrong or nested too deep, is read again by the JSON
// library, which knows the error messages and accepts deeper nesting.
#include "json_decode.hpp"

#include <string.h>

#include "json.hpp"
#include "json_number.hpp"
#include "json_utf8.hpp"
#include "memory.hpp"
#include "request.hpp"

namespace {

enum { DEPTH_LIMIT = 500 };  // text that is nested deeper is left to the library

struct Reader {
    lua_State* L;
    const char* at;
    const char* end;
    int null;   ///< stack index of ox.null
    int array;  ///< stack index of the metatable of empty arrays
    int depth;
};

// The functions that read push one value and return true, or return false with the stack as it may be.
bool read_value(Reader* reader);

/// The next character that is no blank; 0 at the end.
char peek(Reader* reader) {
    while (reader->at < reader->end) {
        char c = *reader->at;
        if (c != ' ' && c != '\n' && c != '\t' && c != '\r') return c;
        ++reader->at;
    }
    return '\0';
}

/// Takes the character if it comes next.
bool take(Reader* reader, char c) {
    if (peek(reader) != c) return false;
    ++reader->at;
    return true;
}

/// The value of the four hexadecimal digits at `at`, -1 where there are none.
long hex4(const char* at, const char* end) {
    if (end - at < 4) return -1;
    long value = 0;
    for (int i = 0; i < 4; ++i) {
        char c = at[i];
        int digit = c >= '0' && c <= '9'                 ? c - '0'
                    : (c | 32) >= 'a' && (c | 32) <= 'f' ? (c | 32) - 'a' + 10
                                                         : -1;
        if (digit < 0) return -1;
        value = value * 16 + digit;
    }
    return value;
}

/// Takes the escape behind "\u", with its second half; -1 where it is none.
long take_unicode(Reader* reader) {
    long code = hex4(reader->at, reader->end);
    if (code < 0) return -1;
    reader->at += 4;
    if (code < 0xD800 || code > 0xDFFF) return code;
    if (code > 0xDBFF || reader->end - reader->at < 6 || memcmp(reader->at, "\\u", 2) != 0) return -1;
    long low = hex4(reader->at + 2, reader->end);
    if (low < 0xDC00 || low > 0xDFFF) return -1;
    reader->at += 6;
    return 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
}

char* put_utf8(char* to, long code) {
    auto tail = [code](int shift) { return static_cast<char>(0x80 | ((code >> shift) & 0x3F)); };
    if (code < 0x80) {
        *to++ = static_cast<char>(code);
    } else if (code < 0x800) {
        *to++ = static_cast<char>(0xC0 | (code >> 6));
        *to++ = tail(0);
    } else if (code < 0x10000) {
        *to++ = static_cast<char>(0xE0 | (code >> 12));
        *to++ = tail(6);
        *to++ = tail(0);
    } else {
        *to++ = static_cast<char>(0xF0 | (code >> 18));
        *to++ = tail(12);
        *to++ = tail(6);
        *to++ = tail(0);
    }
    return to;
}

/// Takes the escape behind a backslash, which is never shorter than what it stands for. Null where it is
/// none.
char* take_escape(Reader* reader, char* to) {
    static const char from[] = "\"\\/bfnrt";
    static const char meant[] = "\"\\/\b\f\n\r\t";
    if (reader->at == reader->end) return nullptr;
    char c = *reader->at++;
    if (c == 'u') {
        long code = take_unicode(reader);
        return code < 0 ? nullptr : put_utf8(to, code);
    }
    const char* found = c ? strchr(from, c) : nullptr;
    if (!found) return nullptr;
    *to++ = meant[found - from];
    return to;
}

/// The closing quote of the text that begins at `at`; null where there is none.
const char* closing_quote(const char* at, const char* end) {
    while (at < end && *at != '"') at += *at == '\\' ? 2 : 1;
    return at < end ? at : nullptr;
}

/// Reads on from the first escape of a text that begins at `start`.
bool read_escaped(Reader* reader, const char* start) {
    const char* quote = closing_quote(reader->at, reader->end);
    if (!quote) return false;
    luaL_Buffer text;
    char* to = luaL_buffinitsize(reader->L, &text, static_cast<size_t>(quote - start));
    char* first = to;
    for (;;) {
        memcpy(to, start, static_cast<size_t>(reader->at - start));
        to += reader->at - start;
        if (reader->at == reader->end) return false;
        char c = *reader->at++;
        if (c == '"') break;
        if (c != '\\') return false;
        to = take_escape(reader, to);
        if (!to) return false;
        start = reader->at;
        reader->at = json_plain_end(start, reader->end);
    }
    luaL_pushresultsize(&text, static_cast<size_t>(to - first));
    return true;
}

/// Reads a text from behind its opening quote.
bool read_text(Reader* reader) {
    const char* start = reader->at;
    reader->at = json_plain_end(start, reader->end);
    if (reader->at == reader->end) return false;
    if (*reader->at != '"') return *reader->at == '\\' && read_escaped(reader, start);
    lua_pushlstring(reader->L, start, static_cast<size_t>(reader->at - start));
    ++reader->at;
    return true;
}

bool read_key(Reader* reader) {
    if (!take(reader, '"') || !read_text(reader)) return false;
    size_t length = 0;
    const char* key = lua_tolstring(reader->L, -1, &length);
    return !memchr(key, 0, length) && take(reader, ':');
}

bool read_object(Reader* reader) {
    lua_State* L = reader->L;
    lua_newtable(L);
    if (take(reader, '}')) return true;
    do {
        if (!read_key(reader) || !read_value(reader)) return false;
        lua_rawset(L, -3);
    } while (take(reader, ','));
    return take(reader, '}');
}

bool read_array(Reader* reader) {
    lua_State* L = reader->L;
    lua_newtable(L);
    if (take(reader, ']')) {
        lua_pushvalue(L, reader->array);
        lua_setmetatable(L, -2);
        return true;
    }
    lua_Integer count = 0;
    do {
        if (!read_value(reader)) return false;
        lua_rawseti(L, -2, ++count);
    } while (take(reader, ','));
    return take(reader, ']');
}

bool read_nested(Reader* reader, bool (*read)(Reader*)) {
    if (++reader->depth > DEPTH_LIMIT || !lua_checkstack(reader->L, LUA_MINSTACK)) return false;
    bool done = read(reader);
    --reader->depth;
    return done;
}

/// The rest of a constant whose first character was taken.
bool take_rest(Reader* reader, const char* rest) {
    size_t length = strlen(rest);
    if (static_cast<size_t>(reader->end - reader->at) < length || memcmp(reader->at, rest, length) != 0)
        return false;
    reader->at += length;
    return true;
}

bool read_number(Reader* reader) {
    reader->at = json_push_number(reader->L, reader->at - 1, reader->end);
    return reader->at != nullptr;
}

bool read_value(Reader* reader) {
    char c = peek(reader);
    if (reader->at == reader->end) return false;
    ++reader->at;
    switch (c) {
        case '{':
            return read_nested(reader, read_object);
        case '[':
            return read_nested(reader, read_array);
        case '"':
            return read_text(reader);
        case 't':
        case 'f':
            lua_pushboolean(reader->L, c == 't');
            return take_rest(reader, c == 't' ? "rue" : "alse");
        case 'n':
            lua_pushvalue(reader->L, reader->null);
            return take_rest(reader, "ull");
        default:
            return read_number(reader);
    }
}

/// Decodes by the library: what is nested deep, and the message for what is wrong.
int decode_slowly(lua_State* L, const char* text, size_t length) {
    Holder* holder = holder_push(L);
    json_error_t error;
    holder->json = json_loadb(text, length, JSON_DECODE_ANY | JSON_ALLOW_NUL, &error);
    if (holder->json) {
        json_to_lua(L, holder->json);
        holder_clear(holder);
        return 1;
    }
    if (!error.text[0] || json_error_code(&error) == json_error_out_of_memory) raise_memory(L);
    lua_pushfstring(L, "%s (line %d, column %d)", error.text, error.line, error.column);
    return failure_text(L, lua_tostring(L, -1), -32700);
}

}  // namespace

// ox.json.decode(text)
int json_decode(lua_State* L) {
    size_t length = 0;
    const char* text = luaL_checklstring(L, 1, &length);
    lua_settop(L, 1);
    push_null(L);
    push_array_mark(L);
    Reader reader = {L, text, text + length, 2, 3, 0};
    if (read_value(&reader) && peek(&reader) == '\0' && reader.at == reader.end) return 1;
    lua_settop(L, 1);
    return decode_slowly(L, text, length);
}
