// Which text a completion candidate replaces: plain functions of line, cursor and candidates.
#pragma once

#include <jansson.h>
#include <stddef.h>

struct CompletionRules {
    const char* boundaries;  ///< a word may start behind any of these, and at the line's start
    bool case_sensitive;
};

/// The start of the longest text left of `cursor` that starts at a boundary and that `candidate` begins with;
/// `cursor` itself when there is none.
size_t completion_start(const char* line, size_t cursor, const char* candidate, const CompletionRules& rules);

struct CompletionEdit {
    size_t start;  ///< the text from here to the cursor is replaced
    char* text;    ///< by this heap text
    bool changes;  ///< whether that makes a difference
};
/// What the candidates have in common, put in place of the word left of the cursor. An array without strings
/// changes nothing, nor do candidates that do not begin with the word.
CompletionEdit completion_edit(const char* line, size_t cursor, const json_t* candidates,
                               const CompletionRules& rules);
