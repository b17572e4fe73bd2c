#include "line/split.hpp"

#include <string.h>

#include "line/grammar.hpp"
#include "ox_array.hpp"
#include "ox_raii.hpp"

namespace {

struct Scanner {
    ox_array<char> word;  // the one that is being gathered
    json_t* words;
    const char* cursor;  // null: do not count
    unsigned* count;
    char quote = '\0';
    bool escape = false;
    bool comment = false;
};

bool gather(Scanner* s, char c) {
    return s->word.append(&c, 1);
}

/// An empty word never reaches the array.
void close_word(Scanner* s) {
    if (s->word.size > 0) json_array_append_new(s->words, json_stringn(s->word.data, s->word.size));
    s->word.size = 0;
}

void close_word_at(Scanner* s, const char* at) {
    close_word(s);
    if (s->cursor && at < s->cursor) ++*s->count;
}

// A backslash anywhere in a comment carries the comment over the next newline, as one at a line's end carries
// any other line over.
void scan_comment(Scanner* s, char c) {
    if (c == '\\') {
        s->escape = true;
    } else if (c == '\n') {
        s->comment = s->escape;
        s->escape = false;
    }
}

/// The functions below are false when memory runs out.
bool scan_plain(Scanner* s, const char* at) {
    if (s->quote || !line_is_blank(*at)) return gather(s, *at);
    if (s->word.size > 0) close_word_at(s, at);
    return true;
}

bool scan_escaped(Scanner* s, const char* at) {
    s->escape = false;
    if (line_is_escapable(*at)) return gather(s, *at);
    return gather(s, '\\') && scan_plain(s, at);
}

bool scan_quote(Scanner* s, char c) {
    char open = s->quote;
    s->quote = line_quote_behind(open, c);
    return s->quote != open || gather(s, c);
}

bool scan_byte(Scanner* s, const char* at) {
    char c = *at;
    if (s->comment) {
        scan_comment(s, c);
        return true;
    }
    if (s->escape) return scan_escaped(s, at);
    if (c == '\\') {
        s->escape = true;
        return true;
    }
    if (line_is_quote(c)) return scan_quote(s, c);
    if (c == '#' && !s->quote) {
        // Counts even when no word was gathered.
        close_word_at(s, at);
        s->comment = true;
        return true;
    }
    return scan_plain(s, at);
}

/// Scans a run of bytes that mean nothing but themselves, or one byte.
bool scan_next(Scanner* s, const char** at) {
    bool plain = !s->quote && !s->escape && !s->comment;
    size_t run = plain ? strcspn(*at, LINE_SPECIALS) : 0;
    bool scanned = run > 0 ? s->word.append(*at, run) : scan_byte(s, *at);
    *at += run > 0 ? run : 1;
    return scanned;
}

bool scan_line(Scanner* s, const char* line) {
    while (*line) {
        if (!scan_next(s, &line)) return false;
    }
    if (s->escape && !gather(s, '\\')) return false;
    close_word(s);
    return true;
}

}  // namespace

json_t* line_split(const char* line, int cursor, unsigned* words_before) {
    if (!line) return nullptr;
    bool counting = cursor >= 0 && words_before;
    if (counting) *words_before = 0;
    JsonRef words(json_array());
    Scanner s = {
        .word = {}, .words = words, .cursor = counting ? line + cursor : nullptr, .count = words_before};
    bool scanned = words && scan_line(&s, line);
    s.word.clear();
    return scanned ? words.release() : nullptr;
}

json_t* line_words(const char* line) {
    JsonRef whole(json_string(line));
    if (!whole) return nullptr;
    if (strncmp(line, "lua ", 4) == 0) return json_pack("[s, s]", "lua", line + 4);
    json_t* words = line_split(line, 0, nullptr);
    return words ? words : json_array();
}

std::string_view line_plain_first_word(const char* line) {
    line += strspn(line, LINE_BLANKS);
    size_t length = strcspn(line, LINE_SPECIALS);
    return {line, line_is_blank(line[length]) ? length : 0};
}
