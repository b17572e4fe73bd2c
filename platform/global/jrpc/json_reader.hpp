// A JSON object that is built while its text arrives.
//
// The text is taken token by token, in pieces that end anywhere; what was taken need not be kept. What is
// accepted, and what it becomes, is what jansson makes of it with JSON_ALLOW_NUL: strict UTF-8, integers of
// 64 bits, the last of members of one name, at most 2048 levels. Equal objects under "Attributes", which
// make most of a large answer, become one object: whoever changes such an object works on a copy.
//
// Where somebody takes them, the elements of a message's "ParameterList" are handed on as they come; in the
// object the list is empty. What a text may cost in memory is bounded: a text of nothing but "{}" would take
// eighty times its length.
#pragma once

#include <jansson.h>
#include <stddef.h>

#include "json_elements.hpp"
#include "ox_array.hpp"

struct JsonFolds;

enum json_reader_state {
    JSON_READER_MORE = 0,    ///< the text goes on
    JSON_READER_WHOLE = 1,   ///< its last byte was taken
    JSON_READER_BROKEN = 2,  ///< no JSON, or memory ran out
    JSON_READER_NUMBER = 3,  ///< a number is beyond 64 bits
    JSON_READER_LARGE =
        4,  ///< it takes more memory than twice its length and 32 MiB (less on small machines)
};

/// Zero-initialised: at the beginning of a text.
struct JsonReader {
    json_t* root;            ///< owned; null before the first token
    ox_array<json_t*> open;  ///< the containers that are open, the root first; borrowed from it
    ox_array<char> key;      ///< of the member whose value comes next
    ox_array<char> text;     ///< of a string with escapes
    int expected;            ///< what may come next
    size_t searched;         ///< of the string or number at hand, bytes behind the first without its end
    bool special;            ///< that string needs a closer look
    size_t levels;           ///< around the text
    JsonFolds* folds;        ///< objects that were seen under "Attributes", or null; they outlive the text
    JsonElements elements;   ///< of the list that is handed on
    size_t arrived;          ///< bytes of the text, those that are looked at included
    size_t cost;             ///< what the values take in memory, in bytes
    size_t element_cost;     ///< of that, what is not part of the element that is open
};

/// Takes the tokens that are whole from `size` bytes, `*taken` of them, and returns the state. What was not
/// taken comes first the next time. A text that does not begin with "{" is broken.
json_reader_state json_reader_feed(JsonReader* reader, const char* data, size_t size, size_t* taken);
/// The value of a whole text, which the caller then owns; the reader is ready for another text.
json_t* json_reader_take(JsonReader* reader);
/// Releases everything: zero-initialised again, but for who chooses the taker.
void json_reader_reset(JsonReader* reader);
