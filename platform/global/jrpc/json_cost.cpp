#include "json_cost.hpp"

#include <unistd.h>

namespace {

enum { OBJECT = 224, ARRAY = 128, STRING = 80, NUMBER = 32, MEMBER = 112, ENTRY = 16 };

size_t free_bytes() {
    static size_t bytes = 0;
    if (bytes > 0) return bytes;
    constexpr size_t least = size_t{8} << 20;
    constexpr size_t most = size_t{32} << 20;
    long pages = sysconf(_SC_PHYS_PAGES);
    size_t quarter =
        pages > 0 ? static_cast<size_t>(pages) / 4 * static_cast<size_t>(sysconf(_SC_PAGESIZE)) : most;
    return bytes = quarter < least ? least : quarter > most ? most : quarter;
}

}  // namespace

size_t json_cost_of(const json_t* value, const json_t* container, size_t key_size) {
    size_t place = json_is_object(container) ? MEMBER + key_size : size_t{ENTRY};
    if (!value) return place;
    switch (json_typeof(value)) {
        case JSON_OBJECT:
            return place + OBJECT;
        case JSON_ARRAY:
            return place + ARRAY;
        case JSON_STRING:
            return place + STRING + json_string_length(value);
        case JSON_INTEGER:
        case JSON_REAL:
            return place + NUMBER;
        default:
            return place;
    }
}

bool json_cost_fits(size_t cost, size_t arrived) {
    constexpr size_t always = size_t{4} << 20;
    return cost <= always || cost <= 2 * arrived + free_bytes();
}
