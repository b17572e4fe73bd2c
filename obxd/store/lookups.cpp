#include "lookups.hpp"

#include <algorithm>
#include <functional>

namespace obxd {
namespace {

uint64_t text_hash(std::string_view text) {
    return std::hash<std::string_view>()(text);
}

/// Equal values (those that json_equal takes for equal) have equal hashes.
uint64_t value_hash(const json_t* value) {
    if (json_is_string(value)) return text_hash({json_string_value(value), json_string_length(value)});
    CharsRef dump(json_dumps(value, JSON_ENCODE_ANY | JSON_COMPACT | JSON_SORT_KEYS));
    return text_hash(dump.get() ? dump.get() : "");
}

uint64_t hash_join(uint64_t hash, const json_t* value) {
    return (hash ^ value_hash(value)) * 0x9e3779b97f4a7c15;
}

/// False where the key binds the instance not: it is not enabled, or all values are at their defaults, as
/// those of a new instance are.
bool members_hash(const Node* instance, const Key& key, uint64_t& hash) {
    hash = 0;
    const Schema* enable = instance->schema->enable;
    if (key.functional && enable && !json_is_true(instance->values[enable->slot])) return false;
    bool touched = false;
    for (const Schema* member : key.members) {
        const json_t* value = instance->values[member->slot];
        touched |= !json_equal(value, member->initial);
        hash = hash_join(hash, value);
    }
    return touched;
}

bool members_equal(const Node* one, const Node* other, const Key& key) {
    return std::all_of(key.members.begin(), key.members.end(), [&](const Schema* member) {
        return json_equal(one->values[member->slot], other->values[member->slot]) != 0;
    });
}

void lookup_change(Node* instance, size_t at, bool enter) {
    uint64_t hash = 0;
    if (!members_hash(instance, instance->schema->lookups[at], hash)) return;
    Lookup& lookup = instance->parent->lookups[at];
    if (enter)
        lookup.emplace(hash, instance->number);
    else
        lookup.erase({hash, instance->number});
}

void lookups_change(Node* instance, const Schema* parameter, bool enter) {
    if (parameter) {
        for (uint32_t at : parameter->looked_up_by) lookup_change(instance, at, enter);
    } else {
        for (size_t at = 0; at < instance->schema->lookups.size(); at++) lookup_change(instance, at, enter);
    }
}

}  // namespace

void lookups_leave(Node* instance, const Schema* parameter) {
    lookups_change(instance, parameter, false);
}

void lookups_enter(Node* instance, const Schema* parameter) {
    lookups_change(instance, parameter, true);
}

Node* lookup_rival(const Node* instance, size_t at) {
    const Key& key = instance->schema->lookups[at];
    uint64_t hash = 0;
    if (!members_hash(instance, key, hash)) return nullptr;
    const Node* table = instance->parent;
    const Lookup& lookup = table->lookups[at];
    for (auto row = lookup.lower_bound({hash, 0}); row != lookup.end() && row->first == hash; ++row) {
        Node* other = row->second == instance->number ? nullptr : instance_find(table, row->second);
        if (other && members_equal(instance, other, key)) return other;
    }
    return nullptr;
}

bool alias_taken(const Node* table, const json_t* alias) {
    const Schema* schema = table->schema;
    uint64_t hash = hash_join(0, alias);
    const Lookup& lookup = table->lookups[schema->alias_lookup];
    for (auto row = lookup.lower_bound({hash, 0}); row != lookup.end() && row->first == hash; ++row) {
        const Node* other = instance_find(table, row->second);
        if (other && json_equal(other->values[schema->alias->slot], alias)) return true;
    }
    return false;
}

}  // namespace obxd
