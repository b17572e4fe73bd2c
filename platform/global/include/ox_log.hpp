// Assertions: programming errors and exhausted memory end the process with one line on standard error.
#pragma once

#include <stddef.h>

/// Called once, with the message, before a failed assertion ends the process; null for nothing.
extern void (*ox_log_last_words)(const char* message);

/// Prints file, line, function, the condition's text and `message`, and aborts.
[[noreturn]] void ox_log_fail(const char* condition, const char* file, int line, const char* function,
                              const char* message);

/// Does nothing while `ok` is true; else fails.
inline void __ox_log_assert(bool ok, const char* condition, const char* file, int line, const char* function,
                            const char* message) {
    if (!ok) ox_log_fail(condition, file, line, function, message);
}

/// The same with a printf format for the message.
void __ox_log_assert_fmt(bool ok, const char* condition, const char* file, int line, const char* function,
                         const char* format, ...) __attribute__((format(printf, 6, 7)));

/// malloc that never returns null: failure is the assertion "pointer != NULL" with the message
/// "xmalloc failed at func %s:%zu (%s)" made of the caller's function, line and file.
void* _xmalloc(size_t size, const char* function, size_t line, const char* file);
