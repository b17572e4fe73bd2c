// Bracketed paste: the terminal marks pasted text, so that it is taken as text, not as keys. Its rows stand
// in the edited line until Enter; then they are run one by one, and those that wait are kept here, for the
// terminal's own queue is the commands' to read.
#include <stdio.h>
// readline.h needs stdio.h before it.
#include <readline/readline.h>
#include <stdlib.h>
#include <string.h>

#include "editor.hpp"

namespace {

const char paste_end[] = "\033[201~";
const size_t paste_limit = 16 << 20;

ox_str queue;  // rows that wait, each with its newline
size_t next = 0;
bool from_queue = false;

bool has_rows = false;  // the edited line has pasted row ends
int ended_at = -1;      // where a paste ended with a row's end, which is not in the line

/// Reads on to the end of the paste, which the terminal sends in one go.
void read_paste(ox_str* text) {
    const size_t end = sizeof paste_end - 1;
    while (ox_str_length(text) < paste_limit) {
        int key = rl_read_key();
        if (key < 0) return;
        char byte = static_cast<char>(key);
        ox_str_add_n(text, &byte, byte ? 1 : 0);
        size_t size = ox_str_length(text);
        if (byte == '~' && size >= end && memcmp(text->data + size - end, paste_end, end) == 0) {
            ox_dynarray_cut(text, size - end, end);
            return;
        }
    }
}

/// Makes every row end a newline; returns the text's new length.
size_t unify_row_ends(char* text) {
    char* out = text;
    for (const char* in = text; *in; in++) {
        if (*in == '\n' && in > text && in[-1] == '\r') continue;
        *out++ = *in == '\r' ? '\n' : *in;
    }
    *out = '\0';
    return out - text;
}

void insert(char* text) {
    size_t length = unify_row_ends(text);
    bool goes_on = ended_at >= 0 && rl_end == ended_at && rl_point == rl_end;
    bool row_ends = length > 0 && text[length - 1] == '\n';
    while (length > 0 && text[length - 1] == '\n') text[--length] = '\0';
    if (length == 0) return;
    rl_begin_undo_group();
    if (goes_on) rl_insert_text("\n");
    rl_insert_text(text);
    rl_end_undo_group();
    has_rows = has_rows || goes_on || strchr(text, '\n');
    ended_at = row_ends && rl_point == rl_end ? rl_end : -1;
}

}  // namespace

int paste_key(int, int) {
    ox_str text = {};
    read_paste(&text);
    if (text.data && *text.data) insert(text.data);
    free(text.data);
    return 0;
}

void paste_forget(void) {
    has_rows = false;
    ended_at = -1;
}

void paste_queue_lines(char* line) {
    char* row_end = has_rows && line ? strchr(line, '\n') : nullptr;
    paste_forget();
    if (!row_end) return;
    *row_end = '\0';
    ox_str_replace_text(&queue, row_end + 1);
    ox_str_add(&queue, "\n");
    next = 0;
}

bool paste_waiting(void) {
    return next < ox_str_length(&queue);
}

int paste_getch(void) {
    from_queue = true;
    return static_cast<unsigned char>(queue.data[next++]);
}

void paste_typed(void) {
    from_queue = false;
}

bool paste_take_back(void) {
    if (!from_queue) return false;
    from_queue = false;
    next--;
    return true;
}

void paste_insert_line(void) {
    char* text = queue.data + next;
    size_t length = strcspn(text, "\n");
    next += length + 1;
    text[length] = '\0';
    rl_insert_text(text);
    if (!paste_waiting()) paste_drop();
}

void paste_drop(void) {
    ox_str_clear(&queue);
    next = 0;
    from_queue = false;
}
