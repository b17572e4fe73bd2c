// Shell lines cut into words, for dispatch and completion.
#pragma once

#include <jansson.h>

#include <string_view>

/// Cuts a line into words: a new JSON array of strings, or null for a null line. With `cursor` 0 or more and
/// `words_before` given, counts the words that were closed left of that offset.
json_t* line_split(const char* line, int cursor, unsigned* words_before);
/// The words to dispatch: those of a "lua " line are the command and its text, untouched. A new array; null
/// when the line is no UTF-8 text.
json_t* line_words(const char* line);
/// The first word where it is whole and stands on the line as it is, without quotes and with a blank behind;
/// else empty. Found without splitting the line.
std::string_view line_plain_first_word(const char* line);
