// The history, in readline's list.
//
// In the history file each entry is one line. An entry that holds a newline, or begins with the mark, is
// written as the mark followed by its text with "\\" for a backslash and "\n" for a newline; every other
// entry stands as it was typed. Recordings hold the plain texts alone.
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>

#include "ox_history.hpp"
// readline's headers need stdio.h before them.
#include <readline/history.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ox_fs.hpp"
#include "ox_raii.hpp"

namespace {

const char mark = '\001';
const size_t file_limit = 1 << 20;  // bytes that are read, from the file's end
const size_t line_limit = 1 << 17;  // a longer line of the file is passed over
const int file_entries = 1000;      // that are read

void add_escaped(ox_str* out, const char* text) {
    ox_str_add_n(out, &mark, 1);
    for (; *text; text++) {
        if (*text == '\\') {
            ox_str_add(out, "\\\\");
        } else if (*text == '\n') {
            ox_str_add(out, "\\n");
        } else {
            ox_str_add_n(out, text, 1);
        }
    }
}

/// Turns the escaped text into the entry, in place.
void unescape(char* text) {
    char* out = text;
    for (; *text; text++) {
        if (*text == '\\' && (text[1] == '\\' || text[1] == 'n')) {
            text++;
            *out++ = *text == 'n' ? '\n' : '\\';
        } else {
            *out++ = *text;
        }
    }
    *out = '\0';
}

void add_line(char* line, size_t size) {
    if (size == 0 || size > line_limit || memchr(line, '\0', size)) return;
    if (line[0] == mark) {
        line++;
        unescape(line);
    }
    if (*line) add_history(line);
}

/// Reads the last bytes of the caller's own regular file; `whole` tells whether they begin a line.
char* read_tail(const char* path, size_t* size, bool* whole) {
    Fd fd(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info;
    if (fd.get() < 0 || fstat(fd.get(), &info) != 0) return nullptr;
    if (!S_ISREG(info.st_mode) || info.st_uid != geteuid()) {
        errno = EPERM;
        return nullptr;
    }
    off_t length = info.st_size;
    *whole = length <= static_cast<off_t>(file_limit);
    off_t start = *whole ? 0 : length - static_cast<off_t>(file_limit);
    CharsRef data(static_cast<char*>(malloc(file_limit + 1)));
    if (!data) return nullptr;
    *size = 0;
    while (*size < file_limit) {
        ssize_t got = pread(fd.get(), data + *size, file_limit - *size, start + static_cast<off_t>(*size));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return nullptr;
        if (got == 0) break;
        *size += got;
    }
    data[*size] = '\0';
    return data.release();
}

/// The start of the last `count` lines.
char* last_lines(char* data, size_t size, int count) {
    char* at = data + size;
    if (size > 0 && at[-1] == '\n') at--;
    while (at > data) {
        if (at[-1] == '\n' && --count == 0) break;
        at--;
    }
    return at;
}

}  // namespace

void ox_history_add(const char* text) {
    if (text && *text) add_history(text);
}

const char* ox_history_get(int age) {
    HIST_ENTRY** entries = history_list();
    return entries && age >= 0 && age < history_length ? entries[history_length - 1 - age]->line : nullptr;
}

void ox_history_clear(void) {
    clear_history();
}

int ox_history_load(const char* path) {
    clear_history();
    size_t size = 0;
    bool whole = true;
    CharsRef data(read_tail(path, &size, &whole));
    if (!data) return errno == ENOENT ? 0 : -1;
    char* end = data + size;
    char* line = data;
    if (!whole) {
        auto* newline = static_cast<char*>(memchr(line, '\n', size));
        line = newline ? newline + 1 : end;
    }
    char* first = last_lines(line, end - line, file_entries);
    for (line = first; line < end;) {
        auto* newline = static_cast<char*>(memchr(line, '\n', end - line));
        char* stop = newline ? newline : end;
        *stop = '\0';
        add_line(line, stop - line);
        line = stop + 1;
    }
    return 0;
}

int ox_history_dump(const char* path, int count) {
    bool to_file = count < 0;
    int first = 0;
    if (!to_file && history_length > count) first = history_length - count;
    ox_str out = {};
    HIST_ENTRY** entries = history_list();
    for (int i = first; entries && i < history_length && entries[i]; i++) {
        const char* text = entries[i]->line;
        if (to_file && (text[0] == mark || strchr(text, '\n'))) {
            add_escaped(&out, text);
        } else {
            ox_str_add(&out, text);
        }
        ox_str_add_n(&out, "\n", 1);
    }
    auto* write = to_file ? ox_fs_replace_file : ox_fs_write_file;
    int result = write(path, ox_dynarray_get(&out), ox_str_length(&out));
    int error = errno;
    free(out.data);
    errno = error;
    return result;
}
