// In the place of platform/global/terminal/history.cpp where GNU readline is left out: entries are kept for
// recordings alone, and no file holds them.
#include <stdlib.h>

#include "ox_fs.hpp"
#include "ox_history.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"
#include "ox_vect.hpp"

namespace {

struct Entries {
    ox_vect* list;
    int count;
} entries;

}  // namespace

void ox_history_set_secret(bool (*)(const char*)) {}

void ox_history_add(const char* text) {
    if (!text || !*text) return;
    if (!entries.list) entries.list = __ox_vect_init_adv(nullptr, nullptr, free, 0);
    if (char* copy = ox_memory_text(text)) entries.count += __ox_vect_add(entries.list, copy) == 0;
}

const char* ox_history_get(int age) {
    if (age < 0 || age >= entries.count) return nullptr;
    return static_cast<const char*>(ox_vect_get(entries.list, static_cast<size_t>(entries.count - 1 - age)));
}

void ox_history_clear(void) {
    ox_vect_free(entries.list);
    entries = {};
}

int ox_history_load(const char*) {
    return 0;
}

int ox_history_dump(const char* path, int count) {
    if (count < 0) return 0;
    StrRef out(ox_str_init());
    for (int age = count < entries.count ? count : entries.count; age > 0; age--) {
        ox_str_add(out, ox_history_get(age - 1));
        ox_str_add_n(out, "\n", 1);
    }
    return ox_fs_write_file(path, ox_dynarray_get(out), ox_str_length(out));
}
