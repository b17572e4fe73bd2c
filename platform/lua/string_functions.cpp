// string.find, match, gmatch, gsub and rep, which a stop reaches while they work: Lua's own ones look at
// nothing until they are done. What they give and raise is the same.
#include "string_functions.hpp"

#include <limits.h>
#include <string.h>

#include "pattern.hpp"

namespace {

const char* check_text(lua_State* L, int index, size_t* length) {
    return luaL_checklstring(L, index, length);
}

/// A position that may count from the end, as one from the start; 0 for one before the start.
lua_Integer from_start(lua_Integer position, size_t length) {
    if (position >= 0) return position;
    if (0U - static_cast<size_t>(position) > length) return 0;
    return static_cast<lua_Integer>(length) + position + 1;
}

bool is_plain(const char* pattern, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        if (pattern[i] != 0 && strchr("^$*+?.([%-", pattern[i])) return false;
    }
    return true;
}

int push_plain(lua_State* L, const char* text, size_t length, size_t start, const char* wanted,
               size_t wanted_length) {
    const void* found = memmem(text + start, length - start, wanted, wanted_length);
    if (!found) {
        lua_pushnil(L);
        return 1;
    }
    auto at = static_cast<const char*>(found) - text;
    lua_pushinteger(L, at + 1);
    lua_pushinteger(L, at + static_cast<lua_Integer>(wanted_length));
    return 2;
}

/// The first match from `s` on and its captures, with its place in front for string.find.
int push_match(lua_State* L, Pattern* pattern, const char* s, const char* p, bool finds) {
    bool anchored = p < pattern->end && *p == '^';
    if (anchored) ++p;
    do {
        pattern->count = 0;
        const char* e = pattern_match(pattern, s, p);
        if (!e) continue;
        if (!finds) return pattern_push_captures(pattern, s, e);
        lua_pushinteger(L, s - pattern->subject + 1);
        lua_pushinteger(L, e - pattern->subject);
        return pattern_push_captures(pattern, nullptr, nullptr) + 2;
    } while (s++ < pattern->subject_end && !anchored);
    lua_pushnil(L);
    return 1;
}

int search(lua_State* L, bool finds) {
    size_t length = 0;
    size_t pattern_length = 0;
    const char* text = check_text(L, 1, &length);
    const char* p = check_text(L, 2, &pattern_length);
    lua_Integer start = from_start(luaL_optinteger(L, 3, 1), length);
    if (start < 1) start = 1;
    if (start > static_cast<lua_Integer>(length) + 1) {
        lua_pushnil(L);
        return 1;
    }
    auto skipped = static_cast<size_t>(start - 1);
    if (finds && (lua_toboolean(L, 4) || is_plain(p, pattern_length))) {
        return push_plain(L, text, length, skipped, p, pattern_length);
    }
    Pattern pattern;
    pattern_begin(&pattern, L, text, length, p + pattern_length);
    return push_match(L, &pattern, text + skipped, p, finds);
}

/// string.find(s, pattern [, init [, plain]])
int find(lua_State* L) {
    return search(L, true);
}

/// string.match(s, pattern [, init])
int match(lua_State* L) {
    return search(L, false);
}

struct Progress {
    const char* next;  ///< where the next match is looked for
    const char* last;  ///< the end of the last one
};

/// The iterator of string.gmatch; its upvalues: subject, pattern, Progress.
int next_match(lua_State* L) {
    size_t length = 0;
    size_t pattern_length = 0;
    const char* text = lua_tolstring(L, lua_upvalueindex(1), &length);
    const char* p = lua_tolstring(L, lua_upvalueindex(2), &pattern_length);
    auto* progress = static_cast<Progress*>(lua_touserdata(L, lua_upvalueindex(3)));
    Pattern pattern;
    pattern_begin(&pattern, L, text, length, p + pattern_length);
    for (const char* s = progress->next; s <= pattern.subject_end; ++s) {
        pattern.count = 0;
        const char* e = pattern_match(&pattern, s, p);
        if (!e || e == progress->last) continue;
        *progress = {e, e};
        return pattern_push_captures(&pattern, s, e);
    }
    return 0;
}

/// string.gmatch(s, pattern)
int gmatch(lua_State* L) {
    const char* text = luaL_checkstring(L, 1);
    luaL_checkstring(L, 2);
    lua_settop(L, 2);
    auto* progress = static_cast<Progress*>(lua_newuserdata(L, sizeof(Progress)));
    *progress = {text, nullptr};
    lua_pushcclosure(L, next_match, 3);
    return 1;
}

/// Adds the replacement text (argument 3) with its "%" items filled in.
void add_text(Pattern* pattern, luaL_Buffer* result, const char* s, const char* e) {
    lua_State* L = pattern->L;
    size_t length = 0;
    const char* text = lua_tolstring(L, 3, &length);
    for (size_t i = 0; i < length; ++i) {
        if (text[i] != '%') {
            luaL_addchar(result, text[i]);
            continue;
        }
        ++i;
        if (text[i] == '%') {
            luaL_addchar(result, '%');
        } else if (text[i] == '0') {
            luaL_addlstring(result, s, static_cast<size_t>(e - s));
        } else if (text[i] > '0' && text[i] <= '9') {
            pattern_push_capture(pattern, text[i] - '1', s, e);
            luaL_tolstring(L, -1, nullptr);
            lua_remove(L, -2);
            luaL_addvalue(result);
        } else {
            luaL_error(L, "invalid use of '%%' in replacement string");
        }
    }
}

/// Adds what the function or table (argument 3) gives for the match.
void add_given(Pattern* pattern, luaL_Buffer* result, const char* s, const char* e, bool is_function) {
    lua_State* L = pattern->L;
    if (is_function) {
        lua_pushvalue(L, 3);
        lua_call(L, pattern_push_captures(pattern, s, e), 1);
    } else {
        pattern_push_capture(pattern, 0, s, e);
        lua_gettable(L, 3);
    }
    if (!lua_toboolean(L, -1)) {
        lua_pop(L, 1);
        lua_pushlstring(L, s, static_cast<size_t>(e - s));
    } else if (!lua_isstring(L, -1)) {
        luaL_error(L, "invalid replacement value (a %s)", luaL_typename(L, -1));
    }
    luaL_addvalue(result);
}

/// string.gsub(s, pattern, replacement [, n])
int gsub(lua_State* L) {
    size_t length = 0;
    size_t pattern_length = 0;
    const char* s = check_text(L, 1, &length);
    const char* p = check_text(L, 2, &pattern_length);
    int kind = lua_type(L, 3);
    bool is_text = kind == LUA_TNUMBER || kind == LUA_TSTRING;
    lua_Integer limit = luaL_optinteger(L, 4, static_cast<lua_Integer>(length) + 1);
    luaL_argcheck(L, is_text || kind == LUA_TFUNCTION || kind == LUA_TTABLE, 3,
                  "string/function/table expected");
    Pattern pattern;
    pattern_begin(&pattern, L, s, length, p + pattern_length);
    bool anchored = pattern_length > 0 && *p == '^';
    if (anchored) ++p;
    luaL_Buffer result;
    luaL_buffinit(L, &result);
    lua_Integer count = 0;
    const char* last = nullptr;
    while (count < limit) {
        pattern.count = 0;
        const char* e = pattern_match(&pattern, s, p);
        if (e && e != last) {
            ++count;
            if (is_text) {
                add_text(&pattern, &result, s, e);
            } else {
                add_given(&pattern, &result, s, e, kind == LUA_TFUNCTION);
            }
            s = last = e;
        } else if (s < pattern.subject_end) {
            luaL_addchar(&result, *s++);
        } else {
            break;
        }
        if (anchored) break;
    }
    luaL_addlstring(&result, s, static_cast<size_t>(pattern.subject_end - s));
    luaL_pushresult(&result);
    lua_pushinteger(L, count);
    return 2;
}

/// Copies in pieces; a stop ends that.
void copy(lua_State* L, char* to, const char* from, size_t size) {
    constexpr size_t PIECE = size_t{1} << 20;
    for (size_t done = 0; done < size; done += PIECE) {
        if (size > PIECE && context_of(L)->stopped) stop_error(L);
        memcpy(to + done, from + done, size - done < PIECE ? size - done : PIECE);
    }
}

/// string.rep(s, n [, separator])
int rep(lua_State* L) {
    size_t length = 0;
    size_t separator_length = 0;
    const char* text = check_text(L, 1, &length);
    lua_Integer count = luaL_checkinteger(L, 2);
    const char* separator = luaL_optlstring(L, 3, "", &separator_length);
    size_t unit = length + separator_length;
    if (count <= 0 || unit == 0) {
        lua_pushliteral(L, "");
        return 1;
    }
    auto limit = static_cast<size_t>(INT_MAX);
    if (unit < length || unit > limit / static_cast<lua_Unsigned>(count)) {
        return luaL_error(L, "resulting string too large");
    }
    size_t total = static_cast<size_t>(count) * unit - separator_length;
    luaL_Buffer result;
    char* to = luaL_buffinitsize(L, &result, total);
    copy(L, to, text, length);
    if (count > 1) memcpy(to + length, separator, separator_length);
    for (size_t done = count > 1 ? unit : length; done < total;) {
        size_t more = done < total - done ? done : total - done;
        copy(L, to + done, to, more);
        done += more;
    }
    luaL_pushresultsize(&result, total);
    return 1;
}

}  // namespace

void strings_open(lua_State* L) {
    static const luaL_Reg functions[] = {
        {"find", find}, {"match", match}, {"gmatch", gmatch},
        {"gsub", gsub}, {"rep", rep},     {nullptr, nullptr},
    };
    lua_getglobal(L, "string");
    luaL_setfuncs(L, functions, 0);
    lua_pop(L, 1);
}
