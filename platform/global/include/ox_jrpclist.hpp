// The elements of an answer's "ParameterList", handed on one by one while its text arrives.
#pragma once

#include <jansson.h>

struct ox_jrpcmsg;

/// One element. What it points to is borrowed and lasts until the taker returns; of the JSON values the taker
/// may keep references of its own.
struct ox_list_element {
    const char* name;  ///< of "Name", ends with a zero; null where that is no text
    size_t name_length;
    int type;          ///< the json_type of "Value"; -1: it has none
    const char* text;  ///< the bytes of a string, which ends with a zero; else null
    size_t text_length;
    json_int_t integer;  ///< the number of an integer; else 0
    json_t* value;       ///< any other value; else null
    size_t arrived;      ///< bytes of the message so far
    json_t* attributes;  ///< "Attributes", or null; equal ones are mostly one object: work on a copy
};

/// Who takes them. An answer may be cut off, so what was taken counts only when the exchange has ended with a
/// result.
struct ox_list_taker {
    void (*begin)(void* context);  ///< the result begins, anew: what was taken before is void
    void (*take)(void* context, const ox_list_element* element);
    void* context;
};

/// Hands on a list (borrowed) that was read as a value, as if it arrived now. What is no array has no
/// elements.
void ox_list_hand_on(const json_t* list, const ox_list_taker* taker);
/// The same with the list of an executed request, which is empty afterwards, where it was read as a value: it
/// came before the id that tells whose it is.
void ox_list_hand_on_kept(const ox_jrpcmsg* message, const ox_list_taker* taker);
