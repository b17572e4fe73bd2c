#include "complete/quoting.hpp"

#include <ctype.h>
#include <string.h>

#include "ox_raii.hpp"

namespace {

bool is_blank(char c) {
    return isspace(static_cast<unsigned char>(c));
}

/// Appends one character as the tokenizer wants it. Returns the quote that is open behind it.
char add_quoted(ox_str* out, char c, char quote) {
    if (!quote && is_blank(c)) {
        ox_str_add(out, "\"");
        quote = '"';
    }
    bool special = c == '\\' || (quote ? c == quote : c == '\'' || c == '"' || c == '#');
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
        } else if (typed.quote ? c == typed.quote : c == '\'' || c == '"') {
            typed.quote = typed.quote ? '\0' : c;
            continue;
        }
        bool blank = !typed.quote && is_blank(c);
        if (blank || (c == separator && !assigned)) typed.name = line + 1;
        assigned = !blank && (assigned || (c == separator && c == '='));
    }
    return typed;
}

bool needs_quotes(const char* text) {
    return strpbrk(text, " \t\n\v\f\r'\"#\\") != nullptr;
}

json_t* quoted_candidate(const TypedWord& typed, const char* text, size_t matched, bool closed) {
    StrRef out(ox_str_init_chars(typed.name));
    char quote = typed.quote;
    if (*typed.name == '\0' && !quote && strpbrk(text, " \t\n\v\f\r")) {
        ox_str_add(out, "\"");
        quote = '"';
    }
    for (const char* c = text + matched; *c != '\0'; ++c) quote = add_quoted(out, *c, quote);
    if (closed && quote) ox_str_add_n(out, &quote, 1);
    return json_stringn(ox_dynarray_get(out), ox_str_length(out));
}
