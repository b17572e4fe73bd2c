#include "lua/value_strings.hpp"

#include <stdio.h>

#include "lua/value_printer.hpp"

namespace {

// The C locale's classes, whatever locale the line editor has chosen.
bool is_printable(unsigned char c) {
    return c >= 32 && c < 127;
}

/// Tells whether a string is short enough, its special bytes weighed in, to stand between double quotes.
bool fits_quotes(const char* text, size_t length) {
    long width = static_cast<long>(lua_printer.line_width);
    long cost = static_cast<long>(length);
    for (size_t i = 0; i < length; ++i) {
        auto c = static_cast<unsigned char>(text[i]);
        if (c == '\t' || c == '\n' || c == '\v' || c == '\r') {
            cost += width / 2;
        } else if (!is_printable(c)) {
            cost -= width / 4;
        }
    }
    return cost <= width;
}

/// Equals signs that a long bracket around the string takes: at least those that Lua needs. After "]=]=]" it
/// is one more than needed, which reads back just as well.
size_t bracket_level(const char* text, size_t length) {
    size_t level = 0;
    size_t equals = 0;
    bool closing = false;
    for (size_t i = 0; i < length; ++i) {
        if (!closing) {
            if (text[i] != ']') continue;
            closing = true;
            equals = 0;
        } else if (text[i] == '=') {
            ++equals;
        } else if (text[i] == ']') {
            if (equals >= level) level = equals + 1;
        } else {
            closing = false;
        }
    }
    return level;
}

const char* short_escape(unsigned char c) {
    switch (c) {
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        case '\a':
            return "\\a";
        case '\b':
            return "\\b";
        case '\f':
            return "\\f";
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        case '\v':
            return "\\v";
        default:
            return nullptr;
    }
}

void write_quoted(const char* text, size_t length) {
    printer_write("\"");
    for (size_t i = 0; i < length; ++i) {
        auto c = static_cast<unsigned char>(text[i]);
        const char* escape = short_escape(c);
        if (escape) {
            printer_write(escape);
        } else if (is_printable(c)) {
            printer_write_n(text + i, 1);
        } else {
            char code[8];
            snprintf(code, sizeof(code), "\\%03u", c);
            printer_append(code, 4);
        }
    }
    printer_write("\"");
}

void write_long_bracket(const char* text, size_t length) {
    size_t level = bracket_level(text, length);
    printer_write("[");
    for (size_t i = 0; i < level; ++i) printer_write("=");
    printer_write("[\n");
    printer_append_foreign(text, length);
    printer_write("]");
    for (size_t i = 0; i < level; ++i) printer_write("=");
    printer_write("]");
}

}  // namespace

void printer_string(lua_State* L, int index) {
    size_t length = 0;
    const char* text = lua_tolstring(L, index, &length);
    if (fits_quotes(text, length)) {
        write_quoted(text, length);
    } else {
        write_long_bracket(text, length);
    }
}
