// The tokenizer of shell lines, used by dispatch and completion.
#pragma once

#include <jansson.h>

/// Cuts a line into words: a new JSON array of strings, or null for a null line or when memory runs out. With
/// `cursor` 0 or more and `words_before` given, counts the words that were closed left of that offset.
json_t* line_split(const char* line, int cursor, unsigned* words_before);
