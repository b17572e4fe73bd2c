#include <errno.h>
#include <stdio.h>
#include <stdio_ext.h>
#include <string.h>
#include <unistd.h>

#include "ox_out_buffer.hpp"

namespace {

struct OutBuffer {
    char bytes[32768];
    size_t first;  // where the stream begins to fill it
    bool is_used;
    char last_byte;  // that was written; 0: none yet
    int failure;     // errno
} out;

/// Bytes at the start of the buffer that were not written yet.
size_t waiting_size(void) {
    return out.is_used ? __fpending(stdout) : 0;
}

/// The buffer does not say how it ended once it is flushed.
void note_last_byte(void) {
    size_t size = waiting_size();
    if (size > 0) out.last_byte = out.bytes[out.first + size - 1];
}

/// C libraries other than glibc may keep some bytes in front, for what is put back.
size_t first_filled(void) {
#ifdef __GLIBC__
    return 0;
#else
    putchar('\n');
    __fpurge(stdout);
    const void* found = memchr(out.bytes, '\n', sizeof out.bytes);
    return found ? static_cast<size_t>(static_cast<const char*>(found) - out.bytes) : 0;
#endif
}

}  // namespace

void ox_out_open(void) {
    out.is_used = setvbuf(stdout, out.bytes, _IOFBF, sizeof out.bytes) == 0;
    if (out.is_used) out.first = first_filled();
}

void ox_out_flush(void) {
    note_last_byte();
    if (__fpending(stdout) > 0) ox_out_push();
}

void ox_out_push(void) {
    if (fflush(stdout) != 0) ox_out_note_failure();
}

void ox_out_note_failure(void) {
    if (out.failure == 0) out.failure = errno;
}

int ox_out_failure(void) {
    if (out.failure == 0 && ferror(stdout)) out.failure = EIO;
    return out.failure;
}

bool ox_out_row_is_open(void) {
    note_last_byte();
    return out.last_byte && out.last_byte != '\n';
}

const char* ox_out_open_row(size_t* size) {
    const char* waiting = out.bytes + out.first;
    size_t start = waiting_size();
    *size = start;
    while (start > 0 && waiting[start - 1] != '\n') start--;
    *size -= start;
    return waiting + start;
}

void ox_out_note_error(char last_byte) {
    if (isatty(STDERR_FILENO)) out.last_byte = last_byte;
}

void ox_out_row_ended(void) {
    out.last_byte = '\n';
}
