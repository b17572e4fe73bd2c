// Memory that runs out. It ends the program as _xmalloc does (ox_log.hpp), so that nothing is sent or shown
// of which a part is missing; only code that looks at each allocation itself may say that it bears it.
#pragma once

#include <stddef.h>

/// Has the JSON library allocate so. Once, at the start.
void ox_memory_open(void);

/// To be called when an allocation failed: returns only where that is borne, which is remembered.
void ox_memory_failed(const char* function);
/// True once after allocations that failed and were borne.
bool ox_memory_take_failure(void);

/// From `ox_memory_bear(true)` to its `ox_memory_bear(false)`, calls may nest, failures are borne.
void ox_memory_bear(bool on);

/// A zero-filled block, a copy of a text, and one of its first bytes, at most `size`: never null, except
/// where that is borne. Given back by free.
void* ox_memory_new(size_t size);
char* ox_memory_text(const char* text);
char* ox_memory_text_n(const char* text, size_t size);
