// What handlers take from their argument words.
#pragma once

#include "obxc.hpp"
#include "ox_raii.hpp"

/// The word at an index; null past the end.
const char* word_at(const json_t* args, size_t index);

/// Converts a text to the type of a parameter's default value: a new value, or null when it does not fit.
json_t* value_from_text(const char* text, json_type type);

/// A word like "path=value", cut in two.
struct Assignment {
    StrRef word;
    const char* path;
    const char* text;
};

/// Cuts a word at its first "=" and shows both halves; false after saying that there is none.
bool assignment_split(const char* command, const char* word, Assignment* assignment);
/// Converts the text to the type of the parameter's default value `fallback`: a new value, or null after
/// saying why there is none.
json_t* assignment_value(const char* command, const Assignment& assignment, const json_t* fallback);
