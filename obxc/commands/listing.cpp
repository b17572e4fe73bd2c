#include "commands/listing.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ox_log.hpp"
#include "ox_string.hpp"
#include "ox_tr.hpp"
#include "ox_vect.hpp"

namespace {

bool is_object(const LsEntry* entry) {
    return strcmp(entry->type, "object") == 0;
}

int compare_entries(const void* left, const void* right) {
    const auto* a = static_cast<const LsEntry*>(left);
    const auto* b = static_cast<const LsEntry*>(right);
    if (is_object(a) != is_object(b)) return is_object(a) ? -1 : 1;
    return strcmp(a->name, b->name);
}

/// One bound of a range; empty when there is none.
void bound_text(const json_t* bound, char out[16]) {
    out[0] = '\0';
    if (bound) snprintf(out, 16, "%d", static_cast<int>(json_integer_value(bound)));
}

/// With one bound only, the round form (a length) leaves the colon out, the square one (a value) keeps it, so
/// that a least and a greatest value differ.
void append_ranges(LsEntry* entry, const json_t* attributes) {
    char low[16];
    char high[16];
    bound_text(json_object_get(attributes, "minInclusive"), low);
    bound_text(json_object_get(attributes, "maxInclusive"), high);
    char range[40];
    if (low[0] || high[0]) {
        snprintf(range, sizeof range, "[%s:%s]", low, high);
        ox_string_strlcat(entry->type, range, sizeof entry->type);
    }
    bound_text(json_object_get(attributes, "minLength"), low);
    bound_text(json_object_get(attributes, "maxLength"), high);
    if (low[0] || high[0]) {
        snprintf(range, sizeof range, "(%s%s%s)", low, low[0] && high[0] ? ":" : "", high);
        ox_string_strlcat(entry->type, range, sizeof entry->type);
    }
}

void append_flag(LsEntry* entry, const json_t* attributes, const char* key, const char* letter) {
    if (json_is_true(json_object_get(attributes, key))) {
        ox_string_strlcat(entry->flags, letter, sizeof entry->flags);
    }
}

void fill_attributes(LsEntry* entry, const json_t* attributes) {
    const char* type = json_string_value(json_object_get(attributes, "type"));
    if (type) ox_string_strlcpy(entry->type, type, sizeof entry->type);
    if (is_object(entry)) ox_string_strlcat(entry->flags, "O", sizeof entry->flags);
    append_ranges(entry, attributes);
    bool constant = json_is_true(json_object_get(attributes, "const"));
    ox_string_strlcpy(entry->access, constant ? "RO" : "RW", sizeof entry->access);
    const char* perms = json_string_value(json_object_get(attributes, "perms"));
    if (perms) ox_string_strlcpy(entry->perms, perms, sizeof entry->perms);
    append_flag(entry, attributes, "multi", "M");
    append_flag(entry, attributes, "ordered", "O");  // an ordered multi-instance object shows OMO
    append_flag(entry, attributes, "runtime", "R");
    append_flag(entry, attributes, "unique", "U");
}

LsEntry* entry_new(const char* name, const json_t* attributes) {
    auto* entry = static_cast<LsEntry*>(_xmalloc(sizeof(LsEntry), "ls_repack_list", 512, "obxc/commands"));
    *entry = LsEntry{.type = "-", .access = "-"};
    if (name[0] == '.') name++;
    ox_string_strlcpy(entry->name, *name ? name : ".", sizeof entry->name);
    if (json_is_object(attributes)) fill_attributes(entry, attributes);
    if (!entry->flags[0]) ox_string_strlcpy(entry->flags, "-", sizeof entry->flags);
    return entry;
}

}  // namespace

ox_vect* ls_entries_new(void) {
    return __ox_vect_init_adv(compare_entries, nullptr, free, 0);
}

void ls_repack_element(ox_vect* entries, const ox_list_element* element, size_t prefix) {
    if (!element->name) return;
    const char* text = element->name + (prefix < element->name_length ? prefix : element->name_length);
    __ox_vect_add(entries, entry_new(text, element->attributes));
}

void ls_repack_list(ox_vect* entries, const json_t* list, size_t prefix) {
    struct Repacking {
        ox_vect* entries;
        size_t prefix;
    } repacking = {entries, prefix};
    ox_list_taker taker = {[](void*) {},
                           [](void* context, const ox_list_element* element) {
                               auto* self = static_cast<Repacking*>(context);
                               ls_repack_element(self->entries, element, self->prefix);
                           },
                           &repacking};
    ox_list_hand_on(list, &taker);
}
