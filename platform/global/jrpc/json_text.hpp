// Strings of JSON texts.
#pragma once

#include "ox_array.hpp"

/// Appends what `size` bytes between the quotes of a JSON string stand for. They hold no control character
/// and no quote without "\". False when an escape or the UTF-8 is broken, or memory runs out.
bool json_text_decode(const char* bytes, size_t size, ox_array<char>* out);
