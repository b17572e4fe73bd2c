#include <stdio.h>
#include <stdio_ext.h>
#include <unistd.h>

#include "ox_out_buffer.hpp"

namespace {

struct OutBuffer {
    char bytes[32768];
    bool is_used;
    char last_byte;  // that was written; 0: none yet
} out;

/// Bytes at the start of the buffer that were not written yet.
size_t waiting_size(void) {
    return out.is_used ? __fpending(stdout) : 0;
}

/// The buffer does not say how it ended once it is flushed.
void note_last_byte(void) {
    size_t size = waiting_size();
    if (size > 0) out.last_byte = out.bytes[size - 1];
}

}  // namespace

void ox_out_open(void) {
    out.is_used = setvbuf(stdout, out.bytes, _IOFBF, sizeof out.bytes) == 0;
}

void ox_out_flush(void) {
    note_last_byte();
    if (__fpending(stdout) > 0) fflush(stdout);
}

bool ox_out_row_is_open(void) {
    note_last_byte();
    return out.last_byte && out.last_byte != '\n';
}

const char* ox_out_open_row(size_t* size) {
    size_t start = waiting_size();
    *size = start;
    while (start > 0 && out.bytes[start - 1] != '\n') start--;
    *size -= start;
    return out.bytes + start;
}

void ox_out_note_error(char last_byte) {
    if (isatty(STDERR_FILENO)) out.last_byte = last_byte;
}

void ox_out_row_ended(void) {
    out.last_byte = '\n';
}
