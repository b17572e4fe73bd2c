#include "json_text.hpp"

#include <string.h>

namespace {

/// The bytes of the UTF-8 character at `at`, 0 when it is broken: overlong, a surrogate, beyond U+10FFFF.
size_t utf8_size(const unsigned char* at, size_t room) {
    size_t size = at[0] < 0x80   ? 1
                  : at[0] < 0xC2 ? 0
                  : at[0] < 0xE0 ? 2
                  : at[0] < 0xF0 ? 3
                  : at[0] < 0xF5 ? 4
                                 : 0;
    if (size > room) return 0;
    for (size_t i = 1; i < size; ++i) {
        if ((at[i] & 0xC0) != 0x80) return 0;
    }
    if ((at[0] == 0xE0 && at[1] < 0xA0) || (at[0] == 0xED && at[1] > 0x9F)) return 0;
    if ((at[0] == 0xF0 && at[1] < 0x90) || (at[0] == 0xF4 && at[1] > 0x8F)) return 0;
    return size;
}

/// The number of four hexadecimal digits, or -1.
long hex4(const char* at, const char* end) {
    if (end - at < 4) return -1;
    long code = 0;
    for (int i = 0; i < 4; ++i) {
        char c = at[i];
        int digit = c >= '0' && c <= '9'   ? c - '0'
                    : c >= 'a' && c <= 'f' ? c - 'a' + 10
                    : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                           : -1;
        if (digit < 0) return -1;
        code = code * 16 + digit;
    }
    return code;
}

bool put_utf8(long code, ox_array<char>* out) {
    char bytes[4];
    size_t size = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
    static const unsigned char lead[] = {0, 0, 0xC0, 0xE0, 0xF0};
    for (size_t i = size - 1; i > 0; --i, code >>= 6) bytes[i] = static_cast<char>(0x80 | (code & 0x3F));
    bytes[0] = static_cast<char>(lead[size] | code);
    return out->append(bytes, size);
}

/// Appends the character of the "\uXXXX" at `*at`, of two of them for a surrogate pair, and goes behind it.
bool put_unicode(const char** at, const char* end, ox_array<char>* out) {
    long code = hex4(*at + 2, end);
    *at += 6;
    if (code < 0 || (code >= 0xDC00 && code <= 0xDFFF)) return false;
    if (code >= 0xD800 && code <= 0xDBFF) {
        bool pair = end - *at >= 6 && (*at)[0] == '\\' && (*at)[1] == 'u';
        long low = pair ? hex4(*at + 2, end) : -1;
        if (low < 0xDC00 || low > 0xDFFF) return false;
        *at += 6;
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    }
    return put_utf8(code, out);
}

bool put_escape(const char** at, const char* end, ox_array<char>* out) {
    static const char names[] = "\"\\/bfnrt";
    static const char values[] = "\"\\/\b\f\n\r\t";
    if (end - *at < 2) return false;
    if ((*at)[1] == 'u') return put_unicode(at, end, out);
    auto* name = static_cast<const char*>(memchr(names, (*at)[1], sizeof(names) - 1));
    *at += 2;
    return name && out->append(&values[name - names], 1);
}

}  // namespace

bool json_text_decode(const char* bytes, size_t size, ox_array<char>* out) {
    const char* end = bytes + size;
    for (const char* at = bytes; at < end;) {
        if (*at == '\\') {
            if (!put_escape(&at, end, out)) return false;
            continue;
        }
        const char* run = at;
        while (at < end && *at != '\\') {
            size_t width =
                utf8_size(reinterpret_cast<const unsigned char*>(at), static_cast<size_t>(end - at));
            if (width == 0) return false;
            at += width;
        }
        if (!out->append(run, static_cast<size_t>(at - run))) return false;
    }
    return true;
}

const char* json_text_plain(const char* at, const char* end) {
    constexpr size_t ones = static_cast<size_t>(-1) / 0xFF;  // 0x01 in each byte
    constexpr size_t tops = ones * 0x80;
    for (size_t word = 0; static_cast<size_t>(end - at) >= sizeof word; at += sizeof word) {
        memcpy(&word, at, sizeof word);
        size_t quote = word ^ (ones * '"');
        size_t backslash = word ^ (ones * '\\');
        // The top bit of a byte is set where it is no ASCII, below a blank, or equal.
        if ((word | (word - ones * ' ') | (quote - ones) | (backslash - ones)) & tops) break;
    }
    for (; at < end; ++at) {
        auto byte = static_cast<unsigned char>(*at);
        if (byte < ' ' || byte >= 0x80 || byte == '"' || byte == '\\') break;
    }
    return at;
}

bool json_text_integer(const char* text, size_t size, json_int_t* number) {
    enum { SAFE_DIGITS = 18 };
    bool negative = text[0] == '-';
    const char* digits = text + negative;
    size_t count = size - negative;
    if (count == 0 || count > SAFE_DIGITS || (digits[0] == '0' && count > 1)) return false;
    json_int_t sum = 0;
    for (size_t i = 0; i < count; ++i) {
        if (digits[i] < '0' || digits[i] > '9') return false;
        sum = sum * 10 + (digits[i] - '0');
    }
    *number = negative ? -sum : sum;
    return true;
}
