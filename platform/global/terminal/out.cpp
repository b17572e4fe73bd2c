#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "ox_memory.hpp"
#include "ox_out.hpp"
#include "ox_out_buffer.hpp"
#include "ox_screen.hpp"
#include "screen.hpp"
#include "width.hpp"

namespace {

bool (*cancelled_hook)(void) = nullptr;

bool is_cancelled() {
    return cancelled_hook && cancelled_hook();
}

/// Bytes from `text` on that are written as they are.
size_t plain_run(const char* text, size_t size) {
    size_t i = 0;
    while (i < size) {
        unsigned char byte = static_cast<unsigned char>(text[i]);
        if (byte >= 0x20 && byte < 0x7F) {
            i++;
            continue;
        }
        if (byte < 0xA0) break;  // C0, DEL, C1 as a lone byte
        size_t length = terminal_utf8_length(text + i, size - i);
        if (length == 2 && byte == 0xC2 && static_cast<unsigned char>(text[i + 1]) < 0xA0) break;
        i += length ? length : 1;
    }
    return i;
}

/// Bytes at `text` that are one control character.
size_t control_size(const char* text, size_t size) {
    return static_cast<unsigned char>(text[0]) == 0xC2 && size > 1 ? 2 : 1;
}

/// Hands the pieces of the escaped text to `put`.
template <typename Put>
void escape(const char* text, size_t size, Put put) {
    while (size > 0) {
        size_t run = plain_run(text, size);
        if (run > 0) put(text, run);
        text += run;
        size -= run;
        if (size == 0) return;
        size_t control = control_size(text, size);
        for (size_t i = 0; i < control; i++) {
            static const char digits[] = "0123456789abcdef";
            unsigned char byte = static_cast<unsigned char>(text[i]);
            char escaped[4] = {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
            put(escaped, sizeof escaped);
        }
        text += control;
        size -= control;
    }
}

/// Bytes of the newline, the tab or the allowed text at `text`, 0 where none begins.
size_t allowed_size(const char* text, const char* const* allowed) {
    if (*text == '\n' || *text == '\t') return 1;
    for (; *allowed; ++allowed) {
        size_t size = strlen(*allowed);
        if (size > 0 && strncmp(text, *allowed, size) == 0) return size;
    }
    return 0;
}

}  // namespace

void ox_out_set_cancel(bool (*cancelled)(void)) {
    cancelled_hook = cancelled;
}

// What has been handed to the system can't be stopped any more: there a line at most is.
bool ox_out_line(void) {
    if (ox_out_is_slow()) ox_out_flush();
    return !is_cancelled();
}

void ox_out_write(FILE* file, const char* data, size_t size) {
    enum { PIECE = 4096, SLOW_PIECE = 64 };
    bool slow = file == stdout && size > SLOW_PIECE && ox_out_is_slow();
    size_t most = slow ? SLOW_PIECE : PIECE;
    for (size_t piece = 0; size > 0 && !is_cancelled(); data += piece, size -= piece) {
        piece = size < most ? size : most;
        if (fwrite(data, 1, piece, file) < piece && file == stdout) ox_out_note_failure();
        if (slow) ox_out_flush();
    }
}

void ox_out_text(const char* text, long length) {
    size_t size = length < 0 ? strlen(text) : length;
    if (!ox_out_is_terminal()) {
        ox_out_write(stdout, text, size);
        return;
    }
    escape(text, size, [](const char* piece, size_t bytes) { ox_out_write(stdout, piece, bytes); });
}

void ox_out_message(const char* text) {
    while (*text) {
        size_t size = strcspn(text, "\n\t");
        ox_out_text(text, static_cast<long>(size));
        text += size;
        if (*text) putchar(*text++);
    }
}

void ox_out_error_text(const char* text, const char* const* allowed) {
    if (!isatty(STDERR_FILENO)) {
        ox_out_write(stderr, text, strlen(text));
        return;
    }
    while (*text && !is_cancelled()) {
        size_t size = allowed_size(text, allowed);
        if (size > 0) {
            fwrite(text, 1, size, stderr);
        } else {
            while (text[size] && !allowed_size(text + size, allowed)) ++size;
            escape(text, size, [](const char* piece, size_t bytes) { ox_out_write(stderr, piece, bytes); });
        }
        text += size;
    }
}

void ox_out_lines(const char* text) {
    while (const char* newline = strchr(text, '\n')) {
        ox_out_text(text, newline - text);
        putchar('\n');
        if (!ox_out_line()) return;
        text = newline + 1;
    }
    ox_out_text(text);
    putchar('\n');
}

size_t ox_out_size(const char* text, long length) {
    size_t size = length < 0 ? strlen(text) : length;
    if (!ox_out_is_terminal()) return size;
    size_t total = 0;
    escape(text, size, [&total](const char*, size_t bytes) { total += bytes; });
    return total;
}

char* ox_out_escape(const char* text, long length) {
    size_t size = length < 0 ? strlen(text) : length;
    ox_str* result = ox_str_init();
    if (!ox_out_is_terminal()) {
        ox_str_add_n(result, text, size);
    } else {
        escape(text, size, [result](const char* piece, size_t bytes) { ox_str_add_n(result, piece, bytes); });
    }
    char* copy = ox_memory_text(ox_dynarray_get(result));
    ox_str_free(result);
    return copy;
}

ox_str* ox_out_escape_lines(const char* text, size_t length) {
    ox_str* result = ox_str_init();
    auto put = [result](const char* piece, size_t bytes) { ox_str_add_n(result, piece, bytes); };
    const char* end = text + length;
    while (text < end) {
        const char* stop = text;
        while (stop < end && *stop != '\n' && *stop != '\t') ++stop;
        escape(text, static_cast<size_t>(stop - text), put);
        if (stop < end) put(stop++, 1);
        text = stop;
    }
    return result;
}
