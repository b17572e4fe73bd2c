#include "pattern.hpp"

#include <ctype.h>
#include <string.h>

namespace {

enum { UNFINISHED = -1, POSITION = -2 };  // in the place of a capture's length
enum { DEPTH = 200 };
enum { STEPS = 1 << 12 };

unsigned char byte(const char* text) {
    return static_cast<unsigned char>(*text);
}

void look_for_stop(Pattern* pattern) {
    pattern->steps = STEPS;
    if (context_of(pattern->L)->stopped) stop_error(pattern->L);
}

void step(Pattern* pattern) {
    if (--pattern->steps == 0) look_for_stop(pattern);
}

/// The end of the single class that begins at `p`.
const char* class_end(Pattern* pattern, const char* p) {
    if (*p == '%') {
        if (p + 1 == pattern->end) luaL_error(pattern->L, "malformed pattern (ends with '%%')");
        return p + 2;
    }
    if (*p != '[') return p + 1;
    ++p;
    if (*p == '^') ++p;
    // A "]" that comes first is a member of the set.
    do {
        if (p == pattern->end) luaL_error(pattern->L, "malformed pattern (missing ']')");
        char c = *p++;
        if (c == '%' && p < pattern->end) ++p;
    } while (*p != ']');
    return p + 1;
}

/// Whether `c` is of the class that the letter behind "%" names.
bool in_class(int c, int letter) {
    int found = 0;
    switch (tolower(letter)) {
        case 'a':
            found = isalpha(c);
            break;
        case 'c':
            found = iscntrl(c);
            break;
        case 'd':
            found = isdigit(c);
            break;
        case 'g':
            found = isgraph(c);
            break;
        case 'l':
            found = islower(c);
            break;
        case 'p':
            found = ispunct(c);
            break;
        case 's':
            found = isspace(c);
            break;
        case 'u':
            found = isupper(c);
            break;
        case 'w':
            found = isalnum(c);
            break;
        case 'x':
            found = isxdigit(c);
            break;
        case 'z':
            found = c == 0;
            break;
        default:
            return letter == c;
    }
    return isupper(letter) ? found == 0 : found != 0;
}

/// Whether `c` is of the set from the "[" at `p` to the "]" at `last`.
bool in_set(int c, const char* p, const char* last) {
    bool wanted = true;
    if (p[1] == '^') {
        wanted = false;
        ++p;
    }
    while (++p < last) {
        if (*p == '%') {
            ++p;
            if (in_class(c, byte(p))) return wanted;
        } else if (p[1] == '-' && p + 2 < last) {
            p += 2;
            if (byte(p - 2) <= c && c <= byte(p)) return wanted;
        } else if (byte(p) == c) {
            return wanted;
        }
    }
    return !wanted;
}

/// Whether the character at `s` is of the class from `p` to `end`.
bool matches_one(Pattern* pattern, const char* s, const char* p, const char* end) {
    step(pattern);
    if (s >= pattern->subject_end) return false;
    switch (*p) {
        case '.':
            return true;
        case '%':
            return in_class(byte(s), byte(p + 1));
        case '[':
            return in_set(byte(s), p, end - 1);
        default:
            return *p == *s;
    }
}

/// "%b": `p` is at its two characters.
const char* match_balance(Pattern* pattern, const char* s, const char* p) {
    if (p >= pattern->end - 1) luaL_error(pattern->L, "malformed pattern (missing arguments to '%%b')");
    if (s >= pattern->subject_end || *s != p[0]) return nullptr;
    size_t open = 1;
    while (++s < pattern->subject_end) {
        step(pattern);
        if (*s == p[1]) {
            if (--open == 0) return s + 1;
        } else if (*s == p[0]) {
            ++open;
        }
    }
    return nullptr;
}

/// As many as possible of the class from `p` to `end`, then the rest.
const char* match_most(Pattern* pattern, const char* s, const char* p, const char* end) {
    ptrdiff_t count = 0;
    while (matches_one(pattern, s + count, p, end)) ++count;
    for (; count >= 0; --count) {
        const char* found = pattern_match(pattern, s + count, end + 1);
        if (found) return found;
    }
    return nullptr;
}

/// As few as possible, then the rest.
const char* match_fewest(Pattern* pattern, const char* s, const char* p, const char* end) {
    for (;; ++s) {
        const char* found = pattern_match(pattern, s, end + 1);
        if (found) return found;
        if (!matches_one(pattern, s, p, end)) return nullptr;
    }
}

const char* open_capture(Pattern* pattern, const char* s, const char* p, ptrdiff_t length) {
    if (pattern->count >= PATTERN_CAPTURES) luaL_error(pattern->L, "too many captures");
    pattern->captures[pattern->count] = {s, length};
    ++pattern->count;
    const char* found = pattern_match(pattern, s, p);
    if (!found) --pattern->count;
    return found;
}

const char* close_capture(Pattern* pattern, const char* s, const char* p) {
    int last = pattern->count - 1;
    while (last >= 0 && pattern->captures[last].length != UNFINISHED) --last;
    if (last < 0) luaL_error(pattern->L, "invalid pattern capture");
    pattern->captures[last].length = s - pattern->captures[last].start;
    const char* found = pattern_match(pattern, s, p);
    if (!found) pattern->captures[last].length = UNFINISHED;
    return found;
}

/// "%1" to "%9": the text of an earlier capture once more.
const char* match_again(Pattern* pattern, const char* s, int digit) {
    int index = digit - '1';
    if (index < 0 || index >= pattern->count || pattern->captures[index].length == UNFINISHED) {
        luaL_error(pattern->L, "invalid capture index %%%d", index + 1);
    }
    auto length = static_cast<size_t>(pattern->captures[index].length);
    bool same = static_cast<size_t>(pattern->subject_end - s) >= length &&
                memcmp(pattern->captures[index].start, s, length) == 0;
    return same ? s + length : nullptr;
}

/// "%f": whether `s` is where the set from `p` to `end` begins to hold.
bool at_frontier(Pattern* pattern, const char* s, const char* p, const char* end) {
    int before = s == pattern->subject ? 0 : byte(s - 1);
    return !in_set(before, p, end - 1) && in_set(s < pattern->subject_end ? byte(s) : 0, p, end - 1);
}

/// The items that are no single class, in place of which match_items goes on at `*s` and `*p`. False when
/// there is no such item; `*s` null when it does not match.
bool match_special(Pattern* pattern, const char** s, const char** p) {
    if (**p != '%') return false;
    char kind = (*p)[1];
    if (kind == 'b') {
        *s = match_balance(pattern, *s, *p + 2);
        *p += 4;
        return true;
    }
    if (kind == 'f') {
        const char* set = *p + 2;
        if (*set != '[') luaL_error(pattern->L, "missing '[' after '%%f' in pattern");
        *p = class_end(pattern, set);
        if (!at_frontier(pattern, *s, set, *p)) *s = nullptr;
        return true;
    }
    if (kind < '0' || kind > '9') return false;
    *s = match_again(pattern, *s, kind);
    *p += 2;
    return true;
}

const char* match_items(Pattern* pattern, const char* s, const char* p) {
    while (p != pattern->end) {
        if (*p == '(' && p[1] == ')') return open_capture(pattern, s, p + 2, POSITION);
        if (*p == '(') return open_capture(pattern, s, p + 1, UNFINISHED);
        if (*p == ')') return close_capture(pattern, s, p + 1);
        if (*p == '$' && p + 1 == pattern->end) return s == pattern->subject_end ? s : nullptr;
        if (match_special(pattern, &s, &p)) {
            if (!s) return nullptr;
            continue;
        }
        const char* end = class_end(pattern, p);
        if (*end == '*') return match_most(pattern, s, p, end);
        if (*end == '-') return match_fewest(pattern, s, p, end);
        bool one = matches_one(pattern, s, p, end);
        if (*end == '+') return one ? match_most(pattern, s + 1, p, end) : nullptr;
        if (*end == '?') {
            const char* found = one ? pattern_match(pattern, s + 1, end + 1) : nullptr;
            if (found) return found;
            p = end + 1;
            continue;
        }
        if (!one) return nullptr;
        ++s;
        p = end;
    }
    return s;
}

}  // namespace

void pattern_begin(Pattern* pattern, lua_State* L, const char* subject, size_t length,
                   const char* pattern_end) {
    pattern->L = L;
    pattern->subject = subject;
    pattern->subject_end = subject + length;
    pattern->end = pattern_end;
    pattern->depth = DEPTH;
    pattern->steps = STEPS;
    pattern->count = 0;
}

const char* pattern_match(Pattern* pattern, const char* s, const char* p) {
    step(pattern);
    if (pattern->depth-- == 0) luaL_error(pattern->L, "pattern too complex");
    const char* found = match_items(pattern, s, p);
    ++pattern->depth;
    return found;
}

void pattern_push_capture(Pattern* pattern, int index, const char* s, const char* e) {
    if (index >= pattern->count) {
        if (index != 0) luaL_error(pattern->L, "invalid capture index %%%d", index + 1);
        lua_pushlstring(pattern->L, s, static_cast<size_t>(e - s));
        return;
    }
    const char* start = pattern->captures[index].start;
    ptrdiff_t length = pattern->captures[index].length;
    if (length == UNFINISHED) luaL_error(pattern->L, "unfinished capture");
    if (length == POSITION) {
        lua_pushinteger(pattern->L, start - pattern->subject + 1);
    } else {
        lua_pushlstring(pattern->L, start, static_cast<size_t>(length));
    }
}

int pattern_push_captures(Pattern* pattern, const char* s, const char* e) {
    int count = pattern->count == 0 && s ? 1 : pattern->count;
    luaL_checkstack(pattern->L, count, "too many captures");
    for (int i = 0; i < count; ++i) pattern_push_capture(pattern, i, s, e);
    return count;
}
