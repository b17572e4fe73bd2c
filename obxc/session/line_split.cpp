#include "session/line_split.hpp"

#include <stdlib.h>
#include <string.h>

namespace {

/// The word that is being gathered. Command lines are short: it grows in small steps.
struct WordBuffer {
    char* data = nullptr;
    size_t len = 0;
    size_t cap = 0;
    ~WordBuffer() { free(data); }
};

int buffer_add(WordBuffer* buf, const char* text, size_t length) {
    if (buf->len + length > buf->cap) {
        size_t size = buf->len + length + 4;
        char* grown = static_cast<char*>(realloc(buf->data, size));
        if (!grown) return -1;
        buf->data = grown;
        buf->cap = size;
    }
    memcpy(buf->data + buf->len, text, length);
    buf->len += length;
    return 0;
}

int buffer_push(WordBuffer* buf, char c) {
    return buffer_add(buf, &c, 1);
}

/// Null for an empty word, which json_array_append_new then refuses: an empty word never reaches the array.
json_t* buffer_take(WordBuffer* buf) {
    if (buf->len == 0) return nullptr;
    json_t* word = json_stringn(buf->data, buf->len);
    buf->data[0] = '\0';
    buf->len = 0;
    return word;
}

bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

struct Scanner {
    WordBuffer buf;
    json_t* words;
    const char* cursor;  // null: do not count
    unsigned* count;
    char quote = '\0';
    bool escape = false;
    bool comment = false;
};

void close_word(Scanner* s, const char* at) {
    json_array_append_new(s->words, buffer_take(&s->buf));
    if (s->cursor && at < s->cursor) ++*s->count;
}

// A backslash anywhere in a comment carries the comment over the next newline: kept on purpose.
void scan_comment(Scanner* s, char c) {
    if (c == '\\') {
        s->escape = true;
    } else if (c == '\n') {
        s->comment = s->escape;
        s->escape = false;
    }
}

int scan_plain(Scanner* s, const char* at) {
    if (!s->quote && is_blank(*at)) {
        if (s->buf.len > 0) close_word(s, at);
        return 0;
    }
    return buffer_push(&s->buf, *at);
}

int scan_escaped(Scanner* s, const char* at) {
    s->escape = false;
    if (*at == '\'' || *at == '"' || *at == '#' || *at == '\\') return buffer_push(&s->buf, *at);
    if (buffer_push(&s->buf, '\\') < 0) return -1;
    return scan_plain(s, at);
}

int scan_quote(Scanner* s, char c) {
    if (s->quote == c) {
        s->quote = '\0';
        return 0;
    }
    if (s->quote) return buffer_push(&s->buf, c);
    s->quote = c;
    return 0;
}

int scan_byte(Scanner* s, const char* at) {
    char c = *at;
    if (s->comment) {
        scan_comment(s, c);
        return 0;
    }
    if (s->escape) return scan_escaped(s, at);
    if (c == '\\') {
        s->escape = true;
        return 0;
    }
    if (c == '\'' || c == '"') return scan_quote(s, c);
    if (c == '#' && !s->quote) {
        // Counts even when no word was gathered.
        close_word(s, at);
        s->comment = true;
        return 0;
    }
    return scan_plain(s, at);
}

/// Takes the bytes up to the next one that means something as a whole. Returns their number, or -1.
ssize_t scan_run(Scanner* s, const char* at) {
    if (s->quote || s->escape || s->comment) return 0;
    size_t length = strcspn(at, " \t\n\v\f\r'\"\\#");
    if (length > 0 && buffer_add(&s->buf, at, length) < 0) return -1;
    return static_cast<ssize_t>(length);
}

int scan_end(Scanner* s) {
    if (s->escape && buffer_push(&s->buf, '\\') < 0) return -1;
    json_array_append_new(s->words, buffer_take(&s->buf));
    return 0;
}

}  // namespace

json_t* line_split(const char* line, int cursor, unsigned* words_before) {
    if (!line) return nullptr;
    bool counting = cursor >= 0 && words_before;
    if (counting) *words_before = 0;
    Scanner s = {.buf = {},
                 .words = json_array(),
                 .cursor = counting ? line + cursor : nullptr,
                 .count = words_before};
    int result = s.words ? 0 : -1;
    for (const char* at = line; *at && result == 0;) {
        ssize_t run = scan_run(&s, at);
        result = run == 0 ? scan_byte(&s, at) : run < 0 ? -1 : 0;
        at += run > 0 ? run : 1;
    }
    if (result == 0) result = scan_end(&s);
    if (result == 0) return s.words;
    json_decref(s.words);
    return nullptr;
}
