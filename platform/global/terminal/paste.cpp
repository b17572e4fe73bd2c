// Bracketed paste: the terminal marks pasted text, so that it is taken as text, not as keys. Its lines are
// run one by one; those that wait are kept here, for the terminal's own queue is the commands' to read.
#include <stdio.h>
// readline.h needs stdio.h before it.
#include <readline/readline.h>
#include <string.h>

#include "editor.hpp"

namespace {

const char paste_end[] = "\033[201~";
const size_t paste_limit = 16 << 20;

ox_str pasted;
size_t next = 0;
bool from_paste = false;

/// Reads on to the end of the paste, which the terminal sends in one go.
void read_paste(void) {
    char tail[sizeof paste_end - 1] = {};
    for (;;) {
        int key = rl_read_key();
        if (key < 0) return;
        char byte = static_cast<char>(key);
        ox_str_add_n(&pasted, &byte, byte ? 1 : 0);
        memmove(tail, tail + 1, sizeof tail - 1);
        tail[sizeof tail - 1] = byte;
        size_t size = ox_str_length(&pasted);
        if (memcmp(tail, paste_end, sizeof tail) == 0) {
            size_t kept = size - sizeof tail;
            pasted.data[kept] = '\0';
            pasted.size = kept + 1;
            return;
        }
        if (size >= paste_limit) return;
    }
}

}  // namespace

int paste_key(int, int) {
    paste_drop();
    read_paste();
    if (!paste_insert_line()) return 0;
    rl_redisplay();
    return rl_newline(1, '\n');
}

bool paste_waiting(void) {
    return next < ox_str_length(&pasted);
}

int paste_getch(void) {
    from_paste = true;
    return static_cast<unsigned char>(pasted.data[next++]);
}

void paste_typed(void) {
    from_paste = false;
}

bool paste_take_back(void) {
    if (!from_paste) return false;
    from_paste = false;
    next--;
    return true;
}

bool paste_insert_line(void) {
    const char* text = ox_dynarray_get(&pasted) + next;
    size_t length = strcspn(text, "\r\n");
    bool line_end = text[length] != '\0';
    size_t skip = line_end ? 1 : 0;
    if (text[length] == '\r' && text[length + 1] == '\n') skip = 2;
    if (length > 0) {
        pasted.data[next + length] = '\0';
        rl_insert_text(text);
    }
    next += length + skip;
    if (!paste_waiting()) paste_drop();
    return line_end;
}

void paste_drop(void) {
    ox_str_clear(&pasted);
    next = 0;
    from_paste = false;
}
