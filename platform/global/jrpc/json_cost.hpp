// What JSON values take in memory, as the reader counts it, and what it may come to.
#pragma once

#include <jansson.h>
#include <stddef.h>

/// Bytes of a value that holds nothing yet (null: of none) and of its place in its container, under a key of
/// `key_size` bytes where that is an object.
size_t json_cost_of(const json_t* value, const json_t* container, size_t key_size);
/// Whether a text of which `arrived` bytes have come may take `cost` bytes: twice its length, and 32 MiB or a
/// quarter of a small machine's memory beside.
bool json_cost_fits(size_t cost, size_t arrived);
