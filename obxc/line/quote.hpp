// Candidates that the tokenizer must read back as one word.
#pragma once

#include <jansson.h>

/// The end of the line left of the cursor, as it was typed.
struct TypedWord {
    const char* name;  ///< the typed text that a candidate goes on from
    char quote;        ///< the quote that is open at the cursor, or 0
};

/// Finds the text that a candidate replaces, by the tokenizer's rules: it begins behind the last blank
/// outside quotes or, if later, behind the last `separator` (0: none), of "=" behind the first of the word.
TypedWord typed_word(const char* line, char separator);
/// Whether a text holds what the tokenizer takes for more than itself: a blank, a quote, "#", a backslash.
bool needs_quotes(const char* text);
/// What stands on the line when `text`, of which `matched` bytes are typed, is inserted: what was typed, then
/// the rest with a quote opened before its first blank, or at once where nothing is typed yet. The quote is
/// closed at the end when `closed`. A new string, or null where the text is no UTF-8.
json_t* quoted_candidate(const TypedWord& typed, const char* text, size_t matched, bool closed);
