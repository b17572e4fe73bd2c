// Strings and numbers of JSON texts.
#pragma once

#include <jansson.h>

#include "ox_array.hpp"

/// Appends what `size` bytes between the quotes of a JSON string stand for. They hold no control character
/// and no quote without "\". False when an escape or the UTF-8 is broken, or memory runs out.
bool json_text_decode(const char* bytes, size_t size, ox_array<char>* out);
/// The first byte that is not plain: no ASCII, a control character, a quote or a backslash.
const char* json_text_plain(const char* at, const char* end);
/// A plain integer of up to 18 digits. False for any other number.
bool json_text_integer(const char* text, size_t size, json_int_t* number);
