// The key that tells what stands under the cursor: F1, Alt-h, or what inputrc binds to "describe-word".
#pragma once

#include <stddef.h>

/// What is to be shown above the line: a heap text of lines for a screen of `columns`, or null. `cursor` is a
/// byte offset into `line`. It may wait, as a completion callback may.
using ox_rl_describe_cb = char* (*)(const char* line, int cursor, size_t columns);
/// Null: the key does nothing.
void ox_rl_set_describe_cb(ox_rl_describe_cb callback);
