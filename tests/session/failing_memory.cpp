// Memory that runs out: preloaded into obxc, it has the OBX_FAIL_AT-th allocation fail, or, with
// OBX_FAIL_ON=1, every one from that on. At the program's end it writes how many there were into the file
// OBX_FAIL_COUNT.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#ifdef __GLIBC__
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
}
#else

// Not all of these names are there, but one may look for those of the next library.
#define NEXT(name, parameters, arguments)                                                        \
    static void* __libc_##name parameters {                                                      \
        static auto* const next = reinterpret_cast<void*(*)parameters>(dlsym(RTLD_NEXT, #name)); \
        return next arguments;                                                                   \
    }
NEXT(malloc, (size_t size), (size))
NEXT(calloc, (size_t count, size_t size), (count, size))
NEXT(realloc, (void* block, size_t size), (block, size))
NEXT(memalign, (size_t alignment, size_t size), (alignment, size))
#endif

namespace {

long fail_at = 0;
long allocations = 0;
bool fails_on = false;
bool counts = false;
char count_path[256];

bool fails() {
    if (!counts) return false;
    long number = __atomic_add_fetch(&allocations, 1, __ATOMIC_RELAXED);
    if (fail_at == 0 || (fails_on ? number < fail_at : number != fail_at)) return false;
    errno = ENOMEM;
    return true;
}

/// The program alone is concerned, not what it runs.
__attribute__((constructor)) void begin() {
    const char* at = getenv("OBX_FAIL_AT");
    const char* path = getenv("OBX_FAIL_COUNT");
    if (!at) return;
    fail_at = atol(at);
    fails_on = getenv("OBX_FAIL_ON") != nullptr;
    if (path) snprintf(count_path, sizeof(count_path), "%s", path);
    unsetenv("LD_PRELOAD");
    unsetenv("OBX_FAIL_AT");
    counts = true;
}

__attribute__((destructor)) void end() {
    counts = false;
    if (!count_path[0]) return;
    char text[32];
    int size = snprintf(text, sizeof(text), "%ld\n", allocations);
    int fd = open(count_path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) return;
    ssize_t written = write(fd, text, static_cast<size_t>(size));
    static_cast<void>(written);
    close(fd);
}

}  // namespace

extern "C" {

void* malloc(size_t size) {
    return fails() ? nullptr : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    return fails() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) {
    return fails() ? nullptr : __libc_realloc(block, size);
}

void* memalign(size_t alignment, size_t size) {
    return fails() ? nullptr : __libc_memalign(alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
    return memalign(alignment, size);
}

int posix_memalign(void** block, size_t alignment, size_t size) {
    *block = memalign(alignment, size);
    return *block ? 0 : ENOMEM;
}
}
