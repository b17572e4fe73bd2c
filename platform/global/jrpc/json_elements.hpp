// The elements of a list while they are read: put together member by member, handed on, and forgotten.
#pragma once

#include "ox_array.hpp"
#include "ox_jrpclist.hpp"

/// Zero-initialised: no element is open, and nobody takes any.
struct JsonElements {
    /// Says who takes the list of a message whose "result" begins, of which the members before it are known;
    /// null, or a null pointer: nobody, and the list is kept.
    const ox_list_taker* (*choose)(void* context, const json_t* message);
    void* context;
    const ox_list_taker* taker;  ///< of the list; when it becomes null while one is open, elements go nowhere
    bool in_result;              ///< the object that is open is the result whose list is taken
    json_t* list;                ///< the "ParameterList" that is open, or null; stays empty; borrowed
    json_t* box;                 ///< owned: stands for the element that is open, always empty
    json_t* other;               ///< owned: the last member that no taker wants, which may still be open
    ox_array<char> name;
    ox_array<char> text;
    ox_list_element element;  ///< owns its values
};

/// A new element; its stand-in among the containers that are open, null when memory runs out.
json_t* json_elements_open(JsonElements* elements);
/// A member whose value is a text, an integer, or any other value (taken over). False when memory runs out.
bool json_elements_text(JsonElements* elements, const ox_array<char>& key, const char* bytes, size_t size);
void json_elements_integer(JsonElements* elements, const ox_array<char>& key, json_int_t number);
bool json_elements_value(JsonElements* elements, const ox_array<char>& key, json_t* value);
/// The element is whole: hands it on. `arrived` bytes of the message have come.
void json_elements_close(JsonElements* elements, size_t arrived);
/// The message ends, or is given up.
void json_elements_reset(JsonElements* elements);
