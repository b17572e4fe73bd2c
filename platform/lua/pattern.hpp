// Lua's patterns, matched so that a stop of the code reaches a match that would take for ever.
#pragma once

#include "context.hpp"

enum { PATTERN_CAPTURES = 32 };

/// A pattern and a subject, both zero-terminated beyond their ends and alive on Lua's stack.
struct Pattern {
    lua_State* L;
    const char* subject;
    const char* subject_end;
    const char* end;  ///< of the pattern
    int depth;        ///< calls that may still be nested
    unsigned steps;   ///< until the stop is looked at
    int count;        ///< of captures, finished or not
    struct {
        const char* start;
        ptrdiff_t length;
    } captures[PATTERN_CAPTURES];
};

/// Begins with the subject and the pattern of these lengths.
void pattern_begin(Pattern* pattern, lua_State* L, const char* subject, size_t length,
                   const char* pattern_end);
/// The end of the match of the pattern's text from `p` on at `s`, or null. Errors of the pattern are raised.
const char* pattern_match(Pattern* pattern, const char* s, const char* p);
/// Pushes capture `index` (from 0) of the match from `s` to `e`; without any, 0 is the whole match.
void pattern_push_capture(Pattern* pattern, int index, const char* s, const char* e);
/// Pushes all captures, or the whole match where there is none (none at all when `s` is null). How many.
int pattern_push_captures(Pattern* pattern, const char* s, const char* e);
