#include "plain.hpp"

#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include "bytes.hpp"
#include "editor.hpp"
#include "ox_memory.hpp"
#include "ox_str.hpp"

namespace {
ox_str buffer;

char* take_buffer(void) {
    char* line = buffer.data;
    buffer = {};
    return line ? line : static_cast<char*>(ox_memory_new(1));
}
}  // namespace

char* plain_feed(int key, int* status) {
    *status = 0;
    if (key == '\n') return take_buffer();
    if (key < 0) {
        // The last line may lack its newline; the input's end is told by the next key.
        if (ox_str_length(&buffer) > 0) return take_buffer();
        editor.ctrl_d = true;
        return nullptr;
    }
    for (int left = bytes_in_pipe();; left--) {
        char byte = static_cast<char>(key);
        ox_str_add_n(&buffer, &byte, 1);
        *status = 1;
        if (left <= 0) return nullptr;
        key = bytes_read();
        if (key < 0) return nullptr;
        if (key == '\n') break;
    }
    *status = 0;
    return take_buffer();
}

void plain_drop(void) {
    ox_str_clear(&buffer);
}

void ox_rl_drop_input(void) {
    enum { DROPPED_MAX = 64 << 20 };
    if (editor.phase != EDITOR_PLAIN || isatty(STDIN_FILENO)) return;
    char dropped[4096];
    struct pollfd input = {STDIN_FILENO, POLLIN, 0};
    for (size_t total = 0; total < DROPPED_MAX && poll(&input, 1, 0) > 0;) {
        ssize_t size = read(STDIN_FILENO, dropped, sizeof(dropped));
        if (size <= 0) return;
        total += static_cast<size_t>(size);
    }
}
