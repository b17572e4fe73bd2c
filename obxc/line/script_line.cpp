#include "line/script_line.hpp"

#include <string.h>

#include "line/grammar.hpp"

bool script_line_continues(const char* line) {
    char quote = '\0';
    bool escaped = false;  // an odd number of backslashes stands in front
    for (const char* c = line; *c; c++) {
        if (*c == '\\') {
            escaped = !escaped;
            continue;
        }
        if (line_is_quote(*c) && !escaped) quote = line_quote_behind(quote, *c);
        escaped = false;
    }
    return escaped || quote;
}

ScriptWord script_word(const char* text) {
    constexpr const char* BLANKS = " \t";
    const char* start = text + strspn(text, BLANKS);
    size_t length = strcspn(start, BLANKS);
    const char* end = start + length;
    return {{start, length}, *end ? end + 1 : end};
}
