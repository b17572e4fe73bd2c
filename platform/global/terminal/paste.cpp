#include "paste.hpp"

#include <stdio.h>
// readline.h needs stdio.h before it.
#include <readline/readline.h>
#include <stdlib.h>
#include <string.h>

#include "ox_str.hpp"

namespace {

const char paste_end[] = "\033[201~";
const size_t paste_limit = 16 << 20;

struct Paste {
    ox_str queue;     // rows that wait, each with its newline
    size_t next;      // the first byte of it that nobody has read
    bool from_queue;  // the byte read last came from it
    bool has_rows;    // the edited line has pasted row ends
    int ended_at;     // where a paste ended with a row's end, which is not in the line; -1: nowhere
} paste = {.ended_at = -1};

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
    bool goes_on = paste.ended_at >= 0 && rl_end == paste.ended_at && rl_point == rl_end;
    bool row_ends = length > 0 && text[length - 1] == '\n';
    while (length > 0 && text[length - 1] == '\n') text[--length] = '\0';
    if (length == 0) return;
    rl_begin_undo_group();
    if (goes_on) rl_insert_text("\n");
    rl_insert_text(text);
    rl_end_undo_group();
    paste.has_rows = paste.has_rows || goes_on || strchr(text, '\n');
    paste.ended_at = row_ends && rl_point == rl_end ? rl_end : -1;
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
    paste.has_rows = false;
    paste.ended_at = -1;
}

void paste_queue_lines(char* line) {
    char* row_end = paste.has_rows && line ? strchr(line, '\n') : nullptr;
    paste_forget();
    if (!row_end) return;
    *row_end = '\0';
    ox_str_replace_text(&paste.queue, row_end + 1);
    ox_str_add(&paste.queue, "\n");
    paste.next = 0;
}

bool paste_waiting(void) {
    return paste.next < ox_str_length(&paste.queue);
}

int paste_getch(void) {
    paste.from_queue = true;
    return static_cast<unsigned char>(paste.queue.data[paste.next++]);
}

void paste_typed(void) {
    paste.from_queue = false;
}

bool paste_take_back(void) {
    if (!paste.from_queue) return false;
    paste.from_queue = false;
    paste.next--;
    return true;
}

void paste_insert_line(void) {
    char* text = paste.queue.data + paste.next;
    size_t length = strcspn(text, "\n");
    paste.next += length + 1;
    text[length] = '\0';
    rl_insert_text(text);
    if (!paste_waiting()) paste_drop();
}

void paste_drop(void) {
    ox_str_clear(&paste.queue);
    paste.next = 0;
    paste.from_queue = false;
}
