#include <ctype.h>
#include <string.h>
#include <strings.h>

#include "ox_firmware.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"

namespace {

bool is_digit(char byte) {
    return isdigit(static_cast<unsigned char>(byte)) != 0;
}

/// Dotted numbers, then perhaps a suffix that begins with no digit and no dot.
bool is_version(const char* text) {
    if (!is_digit(*text)) return false;
    for (;;) {
        while (is_digit(*text)) ++text;
        if (*text != '.') break;
        ++text;
        if (!is_digit(*text)) return false;
    }
    for (; *text; ++text) {
        if (!isgraph(static_cast<unsigned char>(*text))) return false;
    }
    return true;
}

bool has_dot(const char* version) {
    return version[strspn(version, "0123456789")] == '.';
}

const char* skip_v(const char* text) {
    return (*text == 'v' || *text == 'V') && is_digit(text[1]) ? text + 1 : text;
}

/// A text without the blanks around it; null when out of memory.
char* without_blanks(const char* text) {
    while (isspace(static_cast<unsigned char>(*text))) ++text;
    size_t length = strlen(text);
    while (length > 0 && isspace(static_cast<unsigned char>(text[length - 1]))) --length;
    return ox_memory_text_n(text, length);
}

struct Version {
    size_t name_length;  ///< of the product's name at the start of the text, its "-" left out; 0 without
    const char* number;  ///< null when the text is no version
};

Version read_version(const char* text) {
    const char* bare = skip_v(text);
    if (is_version(bare) && has_dot(bare)) return {0, bare};
    for (const char* dash = strchr(text, '-'); dash; dash = strchr(dash + 1, '-')) {
        const char* number = skip_v(dash + 1);
        if (dash == text || !is_version(number) || !has_dot(number)) continue;
        return {static_cast<size_t>(dash - text), number};
    }
    return {0, is_version(bare) ? bare : nullptr};
}

/// The digits of a number without leading zeros; `*text` moves behind it and the dot that follows.
const char* take_number(const char** text, size_t* length) {
    const char* digits = *text;
    while (*digits == '0' && is_digit(digits[1])) ++digits;
    const char* end = digits;
    while (is_digit(*end)) ++end;
    *length = static_cast<size_t>(end - digits);
    *text = *end == '.' ? end + 1 : end;
    return digits;
}

int sign(long value) {
    return (value > 0) - (value < 0);
}

/// Numbers of any length; an absent one counts as 0.
int compare_next_number(const char** current, const char** next) {
    size_t current_length = 0;
    size_t next_length = 0;
    const char* a = is_digit(**current) ? take_number(current, &current_length) : "0";
    const char* b = is_digit(**next) ? take_number(next, &next_length) : "0";
    if (current_length == 0) current_length = 1;
    if (next_length == 0) next_length = 1;
    if (current_length != next_length) return next_length > current_length ? 1 : -1;
    return sign(strncmp(b, a, next_length));
}

bool is_pre_release(const char* suffix) {
    static const char* const names[] = {"rc", "alpha", "beta", "pre", "dev", "test", "snapshot"};
    if (*suffix == '~') return true;
    if (ispunct(static_cast<unsigned char>(*suffix))) ++suffix;
    for (const char* name : names) {
        if (strncasecmp(suffix, name, strlen(name)) == 0) return true;
    }
    return false;
}

/// A pre-release ("-rc1") is older than the version without suffix, any other suffix newer; numbers inside
/// suffixes compare as numbers ("-rc10" is newer than "-rc9").
int compare_suffix(const char* current, const char* next) {
    if (*current && *next) return sign(strverscmp(next, current));
    if (*current) return is_pre_release(current) ? 1 : -1;
    if (*next) return is_pre_release(next) ? -1 : 1;
    return 0;
}

int compare_numbers(const char* current, const char* next) {
    for (int weight = 3; is_digit(*current) || is_digit(*next); weight = weight > 1 ? weight - 1 : 1) {
        int order = compare_next_number(&current, &next);
        if (order != 0) return order * weight;
    }
    return compare_suffix(current, next);
}

}  // namespace

int ox_firmware_version_cmp(const char* current, const char* next) {
    if (!current || !next) return OX_FIRMWARE_UNKNOWN;
    CharsRef a(without_blanks(current));
    CharsRef b(without_blanks(next));
    if (!a || !b) return OX_FIRMWARE_UNKNOWN;
    if (strcmp(a, b) == 0) return 0;
    Version from = read_version(a);
    Version to = read_version(b);
    if (!from.number || !to.number) return OX_FIRMWARE_UNKNOWN;
    int order = compare_numbers(from.number, to.number);
    bool both_named = from.name_length > 0 && to.name_length > 0;
    bool same_name = from.name_length == to.name_length && strncasecmp(a, b, to.name_length) == 0;
    if (both_named && !same_name) return order < 0 ? -OX_FIRMWARE_FOREIGN : OX_FIRMWARE_FOREIGN;
    return order;
}
