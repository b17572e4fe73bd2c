#include <jansson.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#if __has_include(<sys/auxv.h>)
#include <sys/auxv.h>
#endif

#include "ox_log.hpp"
#include "ox_memory.hpp"

namespace {

int bearing = 0;
bool failed = false;

void* allocate_json(size_t size) {
    void* block = malloc(size);
    if (!block) ox_memory_failed("json");
    return block;
}

/// Seeds jansson's hashes with what the kernel has given the process at its start; left to itself jansson
/// reads a file for that.
void seed_json() {
#if __has_include(<sys/auxv.h>)
    uint32_t words[4] = {};
    if (const auto* given = reinterpret_cast<const void*>(getauxval(AT_RANDOM)))
        memcpy(words, given, sizeof words);
    // The words are the C library's secrets as well.
    uint32_t seed = (words[0] ^ words[1] ^ words[2] ^ words[3]) * UINT32_C(2654435761);
    if (seed != 0) json_object_seed(seed);
#endif
}

}  // namespace

void ox_memory_open(void) {
    json_set_alloc_funcs(allocate_json, free);
    seed_json();
}

void ox_memory_failed(const char* function) {
    failed = true;
    if (bearing > 0) return;
    ox_log_fail("pointer != NULL", "ox_memory", __LINE__, function, "out of memory");
}

bool ox_memory_take_failure(void) {
    bool taken = failed;
    failed = false;
    return taken;
}

void ox_memory_bear(bool on) {
    bearing += on ? 1 : -1;
}

void* ox_memory_new(size_t size) {
    void* block = calloc(1, size);
    if (!block) ox_memory_failed(__func__);
    return block;
}

char* ox_memory_text(const char* text) {
    return ox_memory_text_n(text, strlen(text));
}

char* ox_memory_text_n(const char* text, size_t size) {
    char* copy = strndup(text, size);
    if (!copy) ox_memory_failed(__func__);
    return copy;
}
