#include "requests/unfit.hpp"

#include <errno.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

namespace obxd {

namespace {

constexpr std::string_view NULL_ESCAPE = "\\u0000";
constexpr char REPLACEMENT[] = "\xef\xbf\xbd";  // the character that stands for one that cannot be shown
constexpr size_t MAX_SHOWN = 40;

// A text and its quotes.
size_t text_size(std::string_view text) {
    size_t at = 1;
    while (at < text.size() && text[at] != '"') at += text[at] == '\\' ? 2 : 1;
    return std::min(at + 1, text.size());
}

void text_clean(std::string_view text, std::string& clean, std::string& why) {
    while (!text.empty()) {
        bool null = text.starts_with(NULL_ESCAPE);
        size_t size = null ? NULL_ESCAPE.size() : text[0] == '\\' ? 2 : 1;
        if (null && why.empty()) why = "a text holds \\u0000";
        clean += null ? std::string_view(REPLACEMENT) : text.substr(0, size);
        text.remove_prefix(std::min(size, text.size()));
    }
}

bool number_fits(const std::string& number) {
    errno = 0;
    if (number.find_first_of(".eE") != std::string::npos) return isfinite(strtod(number.c_str(), nullptr));
    strtoll(number.c_str(), nullptr, 10);
    return errno == 0;
}

void number_clean(const std::string& number, std::string& clean, std::string& why) {
    if (number_fits(number)) {
        clean += number;
        return;
    }
    clean += "null";
    std::string shown = number.size() > MAX_SHOWN ? number.substr(0, MAX_SHOWN) + "..." : number;
    if (why.empty()) why = "a number is beyond 64 bits: " + shown;
}

}  // namespace

bool unfit_is(const json_error_t& error) {
    const enum json_error_code code = json_error_code(&error);
    return code == json_error_null_character || code == json_error_null_byte_in_key ||
           code == json_error_numeric_overflow;
}

std::string unfit_clean(std::string_view text, std::string& why) {
    std::string clean;
    while (!text.empty()) {
        size_t size = 1;
        if (text[0] == '"') {
            size = text_size(text);
            text_clean(text.substr(0, size), clean, why);
        } else if (text[0] == '-' || (text[0] >= '0' && text[0] <= '9')) {
            size = std::min(text.find_first_not_of("+-.0123456789eE"), text.size());
            number_clean(std::string(text.substr(0, size)), clean, why);
        } else {
            clean += text[0];
        }
        text.remove_prefix(size);
    }
    return clean;
}

bool unfit_text(const char* text) {
    return strstr(text, REPLACEMENT) != nullptr;
}

}  // namespace obxd
