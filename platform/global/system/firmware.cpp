#include <ctype.h>
#include <string.h>
#include <strings.h>

#include "ox_firmware.hpp"

namespace {

bool is_digit(char byte) {
    return isdigit(static_cast<unsigned char>(byte)) != 0;
}

/// Dotted numbers, then perhaps a suffix that begins with no digit and no dot.
bool is_version(const char* text) {
    if (!text || !is_digit(*text)) return false;
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

}  // namespace

int ox_firmware_version_cmp(const char* current, const char* next) {
    if (!is_version(next)) return OX_FIRMWARE_FOREIGN;
    if (!is_version(current)) return -OX_FIRMWARE_FOREIGN;
    for (int weight = 3; is_digit(*current) || is_digit(*next); weight = weight > 1 ? weight - 1 : 1) {
        int order = compare_next_number(&current, &next);
        if (order != 0) return order * weight;
    }
    return compare_suffix(current, next);
}
