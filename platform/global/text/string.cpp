#include <ctype.h>
#include <errno.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "ox_memory.hpp"
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

/// An element of the array that is sorted.
struct Item {
    json_t* value;
    const char* text;  // null where it is no string
    uint64_t number;   // the first component where that is one; else NO_NUMBER, which comes behind
};
constexpr uint64_t NO_NUMBER = UINT64_MAX;

uint64_t first_number(const char* text) {
    enum { DIGITS_MAX = 18 };
    uint64_t number = 0;
    int digits = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
        if (++digits > DIGITS_MAX) return NO_NUMBER;
        number = number * 10 + static_cast<uint64_t>(*text - '0');
    }
    return digits > 0 && (*text == '.' || *text == '\0') ? number : NO_NUMBER;
}

template <int (*Compare)(const char* a, const char* b)>
int compare_items(const void* left, const void* right) {
    auto* a = static_cast<const Item*>(left);
    auto* b = static_cast<const Item*>(right);
    if (a->number != b->number) return a->number < b->number ? -1 : 1;
    if (!a->text || !b->text) return (a->text == nullptr) - (b->text == nullptr);
    return Compare(a->text, b->text);
}

int compare_descending(const char* a, const char* b) {
    return strcmp(b, a);
}

using Compare = int (*)(const void* left, const void* right);

/// Most lists come in order.
void sort_items(Item* items, size_t count, Compare compare) {
    for (size_t i = 1; i < count; ++i) {
        if (compare(&items[i - 1], &items[i]) <= 0) continue;
        qsort(items, count, sizeof(Item), compare);
        return;
    }
}

/// Puts the numbers of paths in front, in their order; returns how many there are. Where only some texts have
/// a colon in front, none counts as a number.
size_t part_numbers(Item* items, Item* parted, size_t count) {
    size_t colons = 0;
    for (size_t i = 0; i < count; ++i) colons += items[i].text && items[i].text[0] == ':';
    bool comparable = colons == 0 || colons == count;
    size_t numbers = 0;
    for (size_t i = 0; i < count; ++i) {
        const char* text = comparable ? items[i].text : nullptr;
        if (text) items[i].number = first_number(text + (colons > 0));
        if (items[i].number != NO_NUMBER) parted[numbers++] = items[i];
    }
    size_t at = numbers;
    for (size_t i = 0; i < count; ++i) {
        if (items[i].number == NO_NUMBER) parted[at++] = items[i];
    }
    return numbers;
}

void sort_paths(Item* items, size_t count) {
    auto* parted = static_cast<Item*>(malloc(count * sizeof(Item)));
    if (!parted) {
        sort_items(items, count, compare_items<compare_paths>);
        return;
    }
    size_t numbers = part_numbers(items, parted, count);
    sort_items(parted, numbers, compare_items<compare_paths>);
    sort_items(parted + numbers, count - numbers, compare_items<compare_paths>);
    memcpy(items, parted, count * sizeof(Item));
    free(parted);
}

}  // namespace

void ox_qsort_json(json_t* array, int order) {
    size_t count = json_array_size(array);
    if (count < 2) return;
    auto* items = static_cast<Item*>(ox_memory_new(count * sizeof(Item)));
    if (!items) return;
    for (size_t i = 0; i < count; ++i) {
        json_t* value = json_incref(json_array_get(array, i));
        items[i] = {value, json_string_value(value), NO_NUMBER};
    }
    if (order == OX_SORT_PATHS) {
        sort_paths(items, count);
    } else {
        sort_items(items, count, order ? compare_items<strcmp> : compare_items<compare_descending>);
    }
    for (size_t i = 0; i < count; ++i) json_array_set_new(array, i, items[i].value);
    free(items);
}
