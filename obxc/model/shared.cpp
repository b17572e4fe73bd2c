#include "model/shared.hpp"

#include <stdint.h>
#include <stdlib.h>

#include "ox_memory.hpp"
#include "ox_tr_names.hpp"
#include "ox_tr_node.hpp"

namespace {

/// A table with open addressing, at most half full; the capacity is a power of two.
struct Leaves {
    json_t** places;
    size_t count;
    size_t used;
};

Leaves leaves;

json_t* leaf_attributes(const json_t* leaf) {
    return json_object_get(leaf, OX_TR_ATTR);
}

/// Where the leaf of these attributes is, or belongs.
json_t** place_of(const json_t* attributes) {
    auto at = static_cast<size_t>(reinterpret_cast<uintptr_t>(attributes) >> 4);
    at ^= at >> 9;
    for (;; ++at) {
        json_t** place = &leaves.places[at & (leaves.count - 1)];
        if (!*place || leaf_attributes(*place) == attributes) return place;
    }
}

/// Makes room for one more, and drops the leaves that nobody else holds.
bool make_room() {
    if (leaves.used < leaves.count / 2) return true;
    enum { FIRST = 64 };
    Leaves old = leaves;
    size_t count = old.count > 0 ? old.count * 2 : size_t{FIRST};
    auto* places = static_cast<json_t**>(ox_memory_new(count * sizeof(json_t*)));
    if (!places) return false;
    leaves = {places, count, 0};
    for (size_t i = 0; i < old.count; ++i) {
        json_t* leaf = old.places[i];
        if (!leaf) continue;
        if (leaf->refcount == 1) {
            json_decref(leaf);
            continue;
        }
        *place_of(leaf_attributes(leaf)) = leaf;
        ++leaves.used;
    }
    free(static_cast<void*>(old.places));
    return true;
}

json_t* new_leaf(json_t* attributes) {
    json_t* leaf = json_object();
    if (leaf && attributes) json_object_set(leaf, OX_TR_ATTR, attributes);
    if (leaf) json_object_set_new(leaf, OX_TR_SHARED, json_true());
    return leaf;
}

}  // namespace

bool node_is_shared(const json_t* node) {
    return json_is_true(json_object_get(node, OX_TR_SHARED));
}

void node_share(json_t* node) {
    if (!json_is_object(node) || node_is_shared(node)) return;
    const char* key;
    json_t* member;
    json_object_foreach(node, key, member) {
        if (!ox_tr_is_mark(key)) node_share(member);
    }
    json_object_set_new(node, OX_TR_SHARED, json_true());
}

json_t* shared_leaf(json_t* attributes) {
    if (!make_room()) return new_leaf(attributes);
    json_t** place = place_of(attributes);
    if (!*place) {
        *place = new_leaf(attributes);
        if (*place) ++leaves.used;
    }
    return json_incref(*place);
}

json_t* node_own_copy(json_t* node) {
    if (!node_is_shared(node)) return json_incref(node);
    json_t* own = json_copy(node);
    json_object_del(own, OX_TR_SHARED);
    return own;
}

json_t* node_own_member(json_t* node, std::string_view key) {
    json_t* member = json_object_getn(node, key.data(), key.size());
    if (!node_is_shared(member)) return member;
    json_t* own = node_own_copy(member);
    return json_object_setn_new(node, key.data(), key.size(), own) == 0 ? own : nullptr;
}

void shared_leaves_clear(void) {
    for (size_t i = 0; i < leaves.count; ++i) json_decref(leaves.places[i]);
    free(static_cast<void*>(leaves.places));
    leaves = {};
}
