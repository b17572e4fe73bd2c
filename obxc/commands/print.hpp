// What the commands' listings share: padded texts and values.
#pragma once

#include <stddef.h>

#include "obxc.hpp"

/// Writes `length` bytes of a text of the daemon, then blanks up to `width` columns.
void print_padded(const char* text, size_t length, size_t width);
/// Writes a text of the daemon; nothing for null.
void print_text(const char* text);
/// Writes " = " and the value in the colour of values, in the notation of its schema node (may be null).
void print_value(const json_t* value, const json_t* schema_node);
