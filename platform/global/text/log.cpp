#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include "ox_log.hpp"

void (*ox_log_last_words)(const char* message) = nullptr;

void ox_log_fail(const char* condition, const char* file, int line, const char* function,
                 const char* message) {
    auto* last_words = ox_log_last_words;
    ox_log_last_words = nullptr;
    if (last_words) last_words(message);
    fflush(stdout);
    fprintf(stderr, "%s:%d: %s: assertion '%s' failed: %s\n", file, line, function, condition, message);
    abort();
}

void __ox_log_assert_fmt(bool ok, const char* condition, const char* file, int line, const char* function,
                         const char* format, ...) {
    if (ok) return;
    char message[256];
    va_list args;
    va_start(args, format);
    vsnprintf(message, sizeof(message), format, args);
    va_end(args);
    ox_log_fail(condition, file, line, function, message);
}

void* _xmalloc(size_t size, const char* function, size_t line, const char* file) {
    void* pointer = malloc(size);
    if (!pointer) {
        __ox_log_assert_fmt(false, "pointer != NULL", file, 38, "_xmalloc",
                            "xmalloc failed at func %s:%zu (%s)", function, line, file);
    }
    return pointer;
}
