#include <ctype.h>
#include <errno.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "ox_string.hpp"

size_t ox_string_strlcpy(char* dst, const char* src, size_t size) {
    size_t length = strlen(src);
    if (size == 0) return length;
    size_t copied = length < size ? length : size - 1;
    memcpy(dst, src, copied);
    dst[copied] = '\0';
    return length;
}

size_t ox_string_strlcat(char* dst, const char* src, size_t size) {
    size_t used = strnlen(dst, size);
    if (used == size) return used + strlen(src);
    return used + ox_string_strlcpy(dst + used, src, size - used);
}

namespace {

enum { NUMBER_SIZE = 512 };

/// Copies the text to be parsed into a terminated buffer; false when it cannot be a number.
bool number_text(const char* text, int length, char out[NUMBER_SIZE]) {
    if (!text) return false;
    size_t size = length < 0 ? strnlen(text, NUMBER_SIZE) : strnlen(text, static_cast<size_t>(length));
    if (size == 0 || size >= NUMBER_SIZE || isspace(static_cast<unsigned char>(text[0]))) return false;
    memcpy(out, text, size);
    out[size] = '\0';
    return true;
}

}  // namespace

int ox_string_strntoul(const char* text, int length, int base, uint64_t* out) {
    char number[NUMBER_SIZE];
    if (!number_text(text, length, number) || !isalnum(static_cast<unsigned char>(number[0]))) return -1;
    char* end = nullptr;
    errno = 0;
    unsigned long long value = strtoull(number, &end, base);
    if (errno != 0 || end == number || *end != '\0') return -1;
    *out = value;
    return 0;
}

int ox_string_strntol(const char* text, int length, int base, int64_t* out) {
    char number[NUMBER_SIZE];
    if (!number_text(text, length, number)) return -1;
    char* end = nullptr;
    errno = 0;
    long long value = strtoll(number, &end, base);
    if (errno != 0 || end == number || *end != '\0') return -1;
    *out = value;
    return 0;
}

int ox_string_strntod(const char* text, int length, double* out) {
    char number[NUMBER_SIZE];
    if (!number_text(text, length, number)) return -1;
    char* end = nullptr;
    double value = strtod(number, &end);
    if (!isfinite(value) || end == number || *end != '\0') return -1;
    *out = value;
    return 0;
}

uint32_t ox_string_get_hash(const char* text) {
    if (!text) return 0;
    uint32_t hash = 2166136261U;  // FNV-1a
    for (; *text; ++text) hash = (hash ^ static_cast<unsigned char>(*text)) * 16777619U;
    return hash;
}

namespace {

/// The length of the component at `text`, and whether it is a number.
size_t component_length(const char* text, bool* number) {
    size_t length = strcspn(text, ".");
    *number = length > 0 && strspn(text, "0123456789") == length;
    return length;
}

/// Numbers by their value, so that 2 stands before 10.
int compare_numbers(const char* a, size_t a_length, const char* b, size_t b_length) {
    for (; a_length > 1 && *a == '0'; ++a) --a_length;
    for (; b_length > 1 && *b == '0'; ++b) --b_length;
    if (a_length != b_length) return a_length < b_length ? -1 : 1;
    return memcmp(a, b, a_length);
}

/// Component by component: instance numbers by their value and before names, which go by their bytes.
int compare_paths(const char* a, const char* b) {
    const char* whole_a = a;
    const char* whole_b = b;
    if (*a == ':' && *b == ':') ++a, ++b;
    while (*a && *b) {
        bool a_number = false;
        bool b_number = false;
        size_t a_length = component_length(a, &a_number);
        size_t b_length = component_length(b, &b_number);
        if (a_number != b_number) return a_number ? -1 : 1;
        if (a_number) {
            int order = compare_numbers(a, a_length, b, b_length);
            if (order != 0) return order;
        } else if (a_length != b_length || memcmp(a, b, a_length) != 0) {
            return strcmp(a, b);
        }
        a += a_length + (a[a_length] == '.');
        b += b_length + (b[b_length] == '.');
    }
    if (*a || *b) return *a ? 1 : -1;
    return strcmp(whole_a, whole_b);
}

template <int (*Compare)(const char* a, const char* b)>
int compare_items(const void* left, const void* right) {
    const char* a = json_string_value(*static_cast<json_t* const*>(left));
    const char* b = json_string_value(*static_cast<json_t* const*>(right));
    if (!a || !b) return (a == nullptr) - (b == nullptr);
    return Compare(a, b);
}

int compare_descending(const char* a, const char* b) {
    return strcmp(b, a);
}

}  // namespace

void ox_qsort_json(json_t* array, int order) {
    size_t count = json_array_size(array);
    if (count < 2) return;
    auto** items = static_cast<json_t**>(malloc(count * sizeof(json_t*)));
    if (!items) return;
    auto* compare = order == OX_SORT_PATHS ? compare_items<compare_paths>
                    : order                ? compare_items<strcmp>
                                           : compare_items<compare_descending>;
    for (size_t i = 0; i < count; ++i) items[i] = json_incref(json_array_get(array, i));
    qsort(items, count, sizeof(json_t*), compare);
    for (size_t i = 0; i < count; ++i) json_array_set_new(array, i, items[i]);
    free(items);
}
