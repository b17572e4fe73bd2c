// The named values of an answer, kept small until all of them are there: a name as what it shares with the
// one before and the rest, a value as its bytes.
#pragma once

#include "ox_array.hpp"
#include "ox_held.hpp"
#include "ox_jrpclist.hpp"

/// What the values of a request become, elements without a name left out. Memory that runs out ends the
/// program.
struct ValueList : ox_held {
    ValueList();
    ~ValueList();
    ox_array<char> bytes;
    ox_array<char> name;  ///< the last one
};

enum ValueKind : char {
    VALUE_NONE,     ///< absent, or an object
    VALUE_STRING,   ///< its bytes
    VALUE_INTEGER,  ///< its number
    VALUE_ENCODED,  ///< the JSON text of any other value
};

/// One of them, while the list is walked.
struct ListedValue {
    const char* name;  ///< ends with a zero
    size_t name_length;
    ValueKind kind;
    const char* bytes;
    size_t size;
    json_int_t integer;
};

/// A walk over a list: zero-initialised but for the list.
struct ValueWalk : ox_held {
    explicit ValueWalk(const ValueList* list);
    ~ValueWalk();
    const ValueList* list;
    size_t at;
    ox_array<char> name;
};

/// Drops what was added since the list's bytes were `size`.
void value_list_cut(ValueList* list, size_t size);
void value_list_add(ValueList* list, const ox_list_element* element);
/// The next value, which lasts until the next call. False at the end.
bool value_walk_next(ValueWalk* walk, ListedValue* value);
