#include "json_utf8.hpp"

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace {

/// Whether one of the eight bytes is no ASCII character that stands for itself.
bool has_special(uint64_t bytes) {
    constexpr uint64_t ONES = 0x0101010101010101;
    constexpr uint64_t HIGH = ONES * 0x80;
    auto zero = [](uint64_t x) { return (x - ONES) & ~x; };  // the high bit of the lowest zero byte
    uint64_t below_blank = (bytes - ONES * 0x20) & ~bytes;
    return ((bytes | below_blank | zero(bytes ^ ONES * '"') | zero(bytes ^ ONES * '\\')) & HIGH) != 0;
}

/// Bytes of the valid UTF-8 character at `text` beyond ASCII, or 0.
size_t utf8_size(const unsigned char* text, size_t room) {
    unsigned char lead = text[0];
    size_t size = lead >= 0xC2 && lead < 0xE0   ? 2
                  : (lead & 0xF0) == 0xE0       ? 3
                  : lead >= 0xF0 && lead < 0xF5 ? 4
                                                : 0;
    if (size == 0 || size > room) return 0;
    for (size_t i = 1; i < size; ++i) {
        if ((text[i] & 0xC0) != 0x80) return 0;
    }
    // Forms that are too long, surrogates, and what lies behind the last character.
    if (lead == 0xE0 && text[1] < 0xA0) return 0;
    if (lead == 0xED && text[1] >= 0xA0) return 0;
    if (lead == 0xF0 && text[1] < 0x90) return 0;
    if (lead == 0xF4 && text[1] >= 0x90) return 0;
    return size;
}

}  // namespace

const char* json_plain_end(const char* text, const char* end) {
    while (text < end) {
        uint64_t bytes = 0;
        while (end - text >= 8) {
            memcpy(&bytes, text, 8);
            if (has_special(bytes)) break;
            text += 8;
        }
        if (text == end) return text;
        auto c = static_cast<unsigned char>(*text);
        if (c < 0x20 || c == '"' || c == '\\') return text;
        size_t size = c < 0x80 ? 1
                               : utf8_size(reinterpret_cast<const unsigned char*>(text),
                                           static_cast<size_t>(end - text));
        if (size == 0) return text;
        text += size;
    }
    return text;
}
