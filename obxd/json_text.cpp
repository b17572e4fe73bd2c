#include "json_text.hpp"

#include <stdint.h>
#include <string.h>

#include <charconv>

namespace obxd {

namespace {

constexpr uint64_t ONES = 0x0101010101010101;
constexpr uint64_t TOPS = 0x8080808080808080;

// Not zero where one of eight bytes is not printable ASCII, or a quote or a backslash.
uint64_t odd_bytes(uint64_t word) {
    uint64_t quote = word ^ (ONES * '"');
    uint64_t backslash = word ^ (ONES * '\\');
    return ((word - ONES * 0x20) | (quote - ONES) | (backslash - ONES) | word) & TOPS;
}

bool is_plain(char c) {
    auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte < 0x80 && byte != '"' && byte != '\\';
}

// How many of the first bytes stand in a JSON string as they are and are ASCII.
size_t plain_size(std::string_view text) {
    size_t at = 0;
    for (uint64_t word; at + sizeof word <= text.size(); at += sizeof word) {
        memcpy(&word, text.data() + at, sizeof word);
        if (odd_bytes(word)) break;
    }
    while (at < text.size() && is_plain(text[at])) at++;
    return at;
}

// The bytes of the UTF-8 character that the text begins with; 0 when it is none.
size_t character_size(std::string_view text) {
    auto byte = [text](size_t at) { return static_cast<unsigned char>(text[at]); };
    size_t size = byte(0) < 0x80 ? 1 : byte(0) < 0xc2 ? 0 : byte(0) < 0xe0 ? 2 : byte(0) < 0xf0 ? 3 : 4;
    if (size > text.size() || byte(0) > 0xf4) return 0;
    for (size_t at = 1; at < size; at++)
        if ((byte(at) & 0xc0) != 0x80) return 0;
    if (size < 3) return size;
    unsigned second = byte(0) << 8 | byte(1);
    bool fits = size == 3 ? second >= 0xe0a0 && (second < 0xeda0 || second > 0xedbf)
                          : second >= 0xf090 && second < 0xf490;
    return fits ? size : 0;
}

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        size_t size = plain_size(text);
        if (size == 0 && (size = character_size(text)) == 0) return false;
        text.remove_prefix(size);
    }
    return true;
}

void put_escape(Text& text, char c) {
    static constexpr char DIGITS[] = "0123456789ABCDEF";
    static constexpr std::string_view LETTERS = "\"\"\\\\\bb\ff\nn\rr\tt";
    for (size_t i = 0; i < LETTERS.size(); i += 2) {
        if (LETTERS[i] != c) continue;
        const char pair[] = {'\\', LETTERS[i + 1]};
        return text.append(std::string_view(pair, 2));
    }
    const char code[] = {'\\', 'u', '0', '0', DIGITS[c >> 4 & 15], DIGITS[c & 15]};
    text.append(std::string_view(code, sizeof code));
}

// What stands as it is: plain bytes, and the bytes of longer characters.
size_t verbatim_size(std::string_view text) {
    size_t at = 0;
    while (at < text.size()) {
        size_t size = plain_size(text.substr(at));
        while (at + size < text.size() && (text[at + size] & 0x80)) size++;
        if (size == 0) break;
        at += size;
    }
    return at;
}

void put_odd_string(Text& text, std::string_view value) {
    text.append('"');
    while (!value.empty()) {
        size_t size = verbatim_size(value);
        text.append(value.substr(0, size));
        value.remove_prefix(size);
        if (value.empty()) break;
        put_escape(text, value[0]);
        value.remove_prefix(1);
    }
    text.append('"');
}

bool put_integer(Text& text, json_int_t value) {
    char digits[24];
    char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    text.append(std::string_view(digits, static_cast<size_t>(end - digits)));
    return true;
}

bool put_real(Text& text, const json_t* value) {
    char digits[64];
    size_t size = json_dumpb(value, digits, sizeof digits, JSON_ENCODE_ANY | JSON_REAL_PRECISION(15));
    text.append(std::string_view(digits, size));
    return size > 0;
}

bool put_array(Text& text, const json_t* array) {
    size_t count = json_array_size(array);
    for (size_t i = 0; i < count; i++) {
        text.append(i == 0 ? '[' : ',');
        if (!json_put(text, json_array_get(array, i))) return false;
    }
    text.append(count == 0 ? "[]" : "]");
    return true;
}

bool put_object(Text& text, const json_t* value) {
    auto* object = const_cast<json_t*>(value);  // jansson's way through an object wants it so
    char before = '{';
    for (void* at = json_object_iter(object); at; at = json_object_iter_next(object, at)) {
        text.append(before);
        before = ',';
        if (!json_put_string(text, json_object_iter_key(at))) return false;
        text.append(':');
        if (!json_put(text, json_object_iter_value(at))) return false;
    }
    text.append(before == '{' ? "{}" : "}");
    return true;
}

}  // namespace

bool json_put_string(Text& text, std::string_view value) {
    size_t plain = plain_size(value);
    if (plain == value.size()) {
        text.append('"');
        text.append(value);
        text.append('"');
        return true;
    }
    if (!is_utf8(value.substr(plain))) return false;
    put_odd_string(text, value);
    return true;
}

bool json_put(Text& text, const json_t* value) {
    if (!value) return false;
    switch (json_typeof(value)) {
        case JSON_STRING:
            return json_put_string(text, {json_string_value(value), json_string_length(value)});
        case JSON_INTEGER:
            return put_integer(text, json_integer_value(value));
        case JSON_REAL:
            return put_real(text, value);
        case JSON_ARRAY:
            return put_array(text, value);
        case JSON_OBJECT:
            return put_object(text, value);
        case JSON_TRUE:
        case JSON_FALSE:
            text.append(json_is_true(value) ? "true" : "false");
            return true;
        case JSON_NULL:
            text.append("null");
            return true;
    }
    return false;
}

}  // namespace obxd
