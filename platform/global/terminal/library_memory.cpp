// What the terminal's library takes while it starts: it does not look at whether there was any. Programs that
// are linked with --wrap for these two functions come here.
#include <stdlib.h>
#include <string.h>

#include "ox_memory.hpp"
#include "setup.hpp"

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
void* __real_calloc(size_t count, size_t size);
char* __real_strdup(const char* text);
void* __wrap_calloc(size_t count, size_t size);
char* __wrap_strdup(const char* text);

void* __wrap_calloc(size_t count, size_t size) {
    void* block = __real_calloc(count, size);
    if (!block && setup_goes_on()) ox_memory_failed("calloc");
    return block;
}

char* __wrap_strdup(const char* text) {
    char* copy = __real_strdup(text);
    if (!copy && setup_goes_on()) ox_memory_failed("strdup");
    return copy;
}
// NOLINTEND(bugprone-reserved-identifier)
}
