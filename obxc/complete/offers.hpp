// What Tab offers for a command's words: the line as offers see it, and the plain offers.
#pragma once

#include <jansson.h>
#include <stddef.h>

/// Where candidates go.
struct Candidates {
    json_t* texts;  ///< array of strings, the caller's
    size_t limit;   ///< so many are enough, for who only asks whether there is exactly one; 0: no limit
};

/// The line left of the cursor.
struct TypedLine {
    json_t* words;
    int count;            ///< index of the word under the cursor
    const char* current;  ///< that word, null when nothing of it is typed
    const char* text;
    Candidates candidates;
};

/// What is offered for some of a command's words. A command has an array of them, which ends with a row of
/// zeros; all that fit the word are asked.
struct Offer {
    int first;  ///< the words that it completes; the command is word 0
    int last;
    void (*offer)(const TypedLine& line, const Offer& offer);
    int flags;             ///< for `offer`
    const char* keywords;  ///< for offer_keywords
};
inline constexpr int LAST_WORD = 1 << 30;

/// A command's array of them. Where lines are not completed no command refers to its offers, so that nothing
/// of them is linked.
#ifdef OBX_WITHOUT_COMPLETION
struct Offers {
    constexpr Offers(const Offer*) {}
};
#else
using Offers = const Offer*;
#endif

/// The words of `keywords`, parted by blanks.
void offer_keywords(const TypedLine& line, const Offer& offer);

/// Adds a text that goes on from what is typed.
void offer_text(const TypedLine& line, const char* text, size_t length);
/// The word at an index; null past the end.
const char* typed_word_at(const TypedLine& line, int index);
/// Whether an argument of the line is `text`.
bool is_typed(const TypedLine& line, const char* text);
/// True when as many candidates are there as are wanted.
bool candidates_full(const Candidates& candidates);
/// Sorts them (`order` of ox_sort_order), unless they are only counted.
void candidates_sort(const Candidates& candidates, int order);
