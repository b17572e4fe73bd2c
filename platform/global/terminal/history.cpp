// The history, in readline's list.
//
// In the history file each entry is one line. An entry that holds a newline, or begins with the mark, is
// written as the mark followed by its text with "\\" for a backslash and "\n" for a newline; every other
// entry stands as it was typed. Recordings hold the plain texts alone.
#include <errno.h>
#include <stdio.h>
// readline's headers need stdio.h before them.
#include <readline/history.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ox_fs.hpp"
#include "ox_history.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"

namespace {

const char mark = '\001';
const size_t file_limit = 1 << 20;  // bytes that are read, from the file's end
const size_t line_limit = 1 << 17;  // a longer line of the file is passed over
const int file_entries = 1000;      // that are read, and that stay when others are added

struct HistoryFile {
    char* path;  // null while there is none
    int fresh;   // the first entry that it lacks
    bool (*is_secret)(const char* text);
} file;

/// From now on the file holds all entries there are.
void in_file(const char* path) {
    if (!file.path || strcmp(file.path, path) != 0) {
        char* copy = ox_memory_text(path);
        free(file.path);
        file.path = copy;
    }
    file.fresh = history_length;
}

void forget_file() {
    free(file.path);
    file.path = nullptr;
    file.fresh = 0;
}

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

/// Reads the last bytes of a file; `whole` tells whether they begin a line.
char* read_tail(int fd, size_t* size, bool* whole) {
    struct stat info;
    if (fd < 0 || fstat(fd, &info) != 0) return nullptr;
    off_t length = info.st_size;
    *whole = length <= static_cast<off_t>(file_limit);
    off_t start = *whole ? 0 : length - static_cast<off_t>(file_limit);
    auto wanted = static_cast<size_t>(length - start);
    CharsRef data(static_cast<char*>(malloc(wanted + 1)));
    if (!data) return nullptr;
    *size = 0;
    while (*size < wanted) {
        ssize_t got = pread(fd, data + *size, wanted - *size, start + static_cast<off_t>(*size));
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

/// Calls `take` with each of the last entries of a file, a terminated line of `size` bytes. False with errno.
template <typename Take>
bool each_line(int fd, Take take) {
    size_t size = 0;
    bool whole = true;
    CharsRef data(read_tail(fd, &size, &whole));
    if (!data) return false;
    char* end = data + size;
    char* line = data;
    if (!whole) {
        auto* newline = static_cast<char*>(memchr(line, '\n', size));
        line = newline ? newline + 1 : end;
    }
    for (line = last_lines(line, end - line, file_entries); line < end;) {
        auto* newline = static_cast<char*>(memchr(line, '\n', end - line));
        char* stop = newline ? newline : end;
        *stop = '\0';
        take(line, stop - line);
        line = stop + 1;
    }
    return true;
}

bool holds_secret(const char* line) {
    if (!file.is_secret) return false;
    if (line[0] != mark) return file.is_secret(line);
    CharsRef entry(ox_memory_text(line + 1));
    unescape(entry);
    return file.is_secret(entry);
}

/// The lines of a file that is being made.
struct Lines {
    StrRef text{ox_str_init()};
    size_t last = 0;  ///< where the last line begins

    /// Adds a line, but no second one of a kind in a row, and no secret.
    void add(const char* line, size_t size) {
        if (size == 0 || size > line_limit || memchr(line, '\0', size) || holds_secret(line)) return;
        size_t end = ox_str_length(text);
        const char* before = ox_dynarray_get(text) + last;
        if (end - last == size + 1 && memcmp(before, line, size) == 0) return;
        last = end;
        ox_str_add_n(text, line, size);
        ox_str_add_n(text, "\n", 1);
    }
};

/// The entries from `first` on as lines of the file.
void add_entries(Lines* lines, int first) {
    HIST_ENTRY** entries = history_list();
    for (int i = first; entries && i < history_length && entries[i]; i++) {
        const char* text = entries[i]->line;
        ox_str line = {};
        if (text[0] == mark || strchr(text, '\n')) {
            add_escaped(&line, text);
            text = ox_dynarray_get(&line);
        }
        lines->add(text, strlen(text));
        free(line.data);
    }
}

enum Merge { MERGE_FAILED, MERGE_DONE, MERGE_AGAIN };

/// Adds the entries from `first` on to those that the file holds by now. Again: it was replaced meanwhile, by
/// one who did not wait for a program that was stopped.
Merge merge_once(const char* path, int first) {
    Fd fd(ox_fs_open_locked(path));
    Lines lines;
    auto keep = [&lines](char* line, size_t size) { lines.add(line, size); };
    if (fd.get() < 0 || !each_line(fd.get(), keep)) return MERGE_FAILED;
    if (first >= history_length) return MERGE_DONE;
    add_entries(&lines, first);
    if (ox_fs_replace_file(path, ox_dynarray_get(lines.text), ox_str_length(lines.text), fd.get()) == 0)
        return MERGE_DONE;
    return errno == ESTALE ? MERGE_AGAIN : MERGE_FAILED;
}

int merge(const char* path) {
    int first = file.path && strcmp(file.path, path) == 0 ? file.fresh : 0;
    Merge outcome = MERGE_AGAIN;
    while (outcome == MERGE_AGAIN) outcome = merge_once(path, first);
    if (outcome == MERGE_FAILED) return -1;
    in_file(path);
    return 0;
}

}  // namespace

void ox_history_set_secret(bool (*holds_secret)(const char* text)) {
    file.is_secret = holds_secret;
}

void ox_history_add(const char* text) {
    if (text && *text) add_history(text);
}

const char* ox_history_get(int age) {
    HIST_ENTRY** entries = history_list();
    return entries && age >= 0 && age < history_length ? entries[history_length - 1 - age]->line : nullptr;
}

void ox_history_clear(void) {
    clear_history();
    forget_file();
}

int ox_history_load(const char* path) {
    ox_history_clear();
    Fd fd(ox_fs_open_read(path));
    if (fd.get() < 0 && errno == ENOENT) return 0;
    if (fd.get() < 0 || !each_line(fd.get(), add_line)) return -1;
    in_file(path);
    return 0;
}

int ox_history_dump(const char* path, int count) {
    if (count < 0) return merge(path);
    StrRef out(ox_str_init());
    HIST_ENTRY** entries = history_list();
    for (int i = history_length > count ? history_length - count : 0; i < history_length; i++) {
        ox_str_add(out, entries[i]->line);
        ox_str_add_n(out, "\n", 1);
    }
    return ox_fs_write_file(path, ox_dynarray_get(out), ox_str_length(out));
}
