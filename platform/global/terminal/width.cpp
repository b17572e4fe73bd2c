#include "width.hpp"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "screen.hpp"

size_t terminal_utf8_length(const char* text, size_t size) {
    auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    if (size == 0) return 0;
    unsigned char first = byte(0);
    if (first < 0x80) return 1;
    size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        if (first == 0xE0) low = 0xA0;
        if (first == 0xED) high = 0x9F;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        if (first == 0xF0) low = 0x90;
        if (first == 0xF4) high = 0x8F;
    }
    if (length == 0 || size < length || byte(1) < low || byte(1) > high) return 0;
    for (size_t i = 2; i < length; i++) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    return length;
}

namespace {

wchar_t decode(const char* text, size_t length) {
    if (length == 1) return static_cast<unsigned char>(text[0]);
    uint32_t code = static_cast<unsigned char>(text[0]) & (0xFFU >> (length + 1));
    for (size_t i = 1; i < length; i++) code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
    return static_cast<wchar_t>(code);
}

}  // namespace

int terminal_char_width(const char* text, size_t size, size_t* length) {
    unsigned char first = static_cast<unsigned char>(text[0]);
    *length = 1;
    if (first < 0x80) return first < 0x20 || first == 0x7F ? -1 : 1;
    size_t bytes = screen_is_utf8() ? terminal_utf8_length(text, size) : 0;
    if (bytes == 0) return 1;
    *length = bytes;
    screen_init_locale();
    int columns = wcwidth(decode(text, bytes));
    return columns < 0 && MB_CUR_MAX == 1 ? 1 : columns;  // a system without any UTF-8 locale
}

size_t terminal_text_width(const char* text, size_t size) {
    size_t width = 0;
    size_t length = 0;
    for (size_t i = 0; i < size; i += length) {
        int columns = terminal_char_width(text + i, size - i, &length);
        if (columns > 0) width += columns;
    }
    return width;
}

size_t terminal_cut(const char* text, size_t size, size_t columns) {
    size_t used = 0;
    size_t length = 0;
    size_t i = 0;
    for (; i < size; i += length) {
        int width = terminal_char_width(text + i, size - i, &length);
        if (width < 0 || used + width > columns) break;
        used += width;
    }
    return i;
}

TerminalPlace terminal_advance(TerminalPlace place, const char* text, size_t size, size_t columns) {
    bool shown = true;
    size_t length = 0;
    for (size_t i = 0; i < size; i += length) {
        length = 1;
        if (text[i] == '\001' || text[i] == '\002') {
            shown = text[i] == '\002';
            continue;
        }
        if (!shown) continue;
        int width = terminal_char_width(text + i, size - i, &length);
        if (width < 0) width = 2;
        if (place.column + width > columns) place = {0, place.row + 1};
        place.column += width;
        if (place.column >= columns) place = {0, place.row + 1};
    }
    return place;
}
