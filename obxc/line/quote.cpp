#include "line/quote.hpp"

#include <string.h>

#include "line/grammar.hpp"
#include "ox_raii.hpp"

namespace {

/// Appends one character as the tokenizer wants it. Returns the quote that is open behind it.
char add_quoted(ox_str* out, char c, char quote) {
    if (!quote && line_is_blank(c)) {
        ox_str_add(out, "\"");
        quote = '"';
    }
    bool special = c == '\\' || (quote ? c == quote : line_is_escapable(c));
    if (special) ox_str_add(out, "\\");
    ox_str_add_n(out, &c, 1);
    return quote;
}

}  // namespace

TypedWord typed_word(const char* line, char separator) {
    TypedWord typed = {line, 0};
    bool escaped = false;
    bool assigned = false;
    for (; *line != '\0'; ++line) {
        char c = *line;
        if (escaped) {
            escaped = false;
        } else if (c == '\\') {
            escaped = true;
            continue;
        } else if (line_is_quote(c) && (!typed.quote || typed.quote == c)) {
            typed.quote = line_quote_behind(typed.quote, c);
            continue;
        }
        bool blank = !typed.quote && line_is_blank(c);
        if (blank || (c == separator && !assigned)) typed.name = line + 1;
        assigned = !blank && (assigned || (c == separator && c == '='));
    }
    return typed;
}

bool needs_quotes(const char* text) {
    return strpbrk(text, LINE_SPECIALS) != nullptr;
}

json_t* quoted_candidate(const TypedWord& typed, const char* text, size_t matched, bool closed) {
    StrRef out(ox_str_init_chars(typed.name));
    char quote = typed.quote;
    if (*typed.name == '\0' && !quote && strpbrk(text, LINE_BLANKS)) {
        ox_str_add(out, "\"");
        quote = '"';
    }
    for (const char* c = text + matched; *c != '\0'; ++c) quote = add_quoted(out, *c, quote);
    if (closed && quote) ox_str_add_n(out, &quote, 1);
    return json_stringn(ox_dynarray_get(out), ox_str_length(out));
}
