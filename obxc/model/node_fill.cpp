#include "model/node_fill.hpp"

#include <string.h>

#include "model/cache.hpp"
#include "model/node.hpp"
#include "model/path.hpp"
#include "model/shared.hpp"
#include "ox_tr.hpp"

namespace {

/// Makes the node of a path one that can be changed: where it is shared, a copy of it, and of the shared ones
/// above, takes its place in the cache and in the path.
void own_node(NodePath* p) {
    if (!node_is_shared(p->node)) return;
    json_t* node = dm_root;
    NodePath own = {};
    path_reset(&own);
    for (std::string_view component : ox_tr_components(p->path)) {
        char name[sizeof p->path];
        if (!node || !path_component(name, component)) break;
        bool there = json_object_get(node, name) || !is_instance_number(name, -1);
        node = node_own_member(node, there ? name : OX_TR_TEMPLATE);
        if (node) path_push_child(&own, node, name);
    }
    if (node && strcmp(own.path, p->path) == 0) {
        json_decref(p->node);
        json_decref(p->parents);
        p->node = json_incref(own.node);
        p->parents = json_incref(own.parents);
    }
    path_free(&own);
    if (!node_is_shared(p->node)) return;
    // The cache has lost it meanwhile.
    JsonRef shared(p->node);
    p->node = node_own_copy(shared);
}

/// Moves at most so many members: how many it were.
size_t move_members(json_t* to, json_t* from, size_t most) {
    size_t count = 0;
    for (; count < most; ++count) {
        void* member = json_object_iter(from);
        if (!member) break;
        const char* key = json_object_iter_key(member);
        json_object_set_nocheck(to, key, json_object_iter_value(member));
        json_object_del(from, key);
    }
    return count;
}

void finish(NodePath* p, const Fetch& fetch) {
    json_t* node = p->node;
    json_object_del(node, OX_TR_PARTIAL);
    json_object_set_new(node, OX_TR_FETCHED, json_true());
    if (p->ordered) json_object_set_new(node, OX_TR_ORDER, json_pack("{s:b}", OX_TR_FETCHED, 1));
    if (!p->path[0]) json_object_del(node, "DataModelVersion");
    if (fetch.outcome == FETCH_LARGE) json_object_set_new(node, OX_TR_LARGE, json_true());
}

}  // namespace

void node_fill_begin(NodePath* p, const Fetch& fetch) {
    ++dm_generation;
    own_node(p);
    json_t* node = p->node;
    JsonRef attributes(json_incref(json_object_get(node, OX_TR_ATTR)));
    json_object_clear(node);
    // An answer without the node's own attributes (a failed request) does not make it forget what it is.
    bool told = fetch.has_children && json_object_get(fetch.tree.root, OX_TR_ATTR);
    if (attributes && !told) json_object_set(node, OX_TR_ATTR, attributes);
    json_object_set_new(node, OX_TR_PARTIAL, json_true());
}

bool node_fill_some(NodePath* p, Fetch* fetch, size_t most) {
    ++dm_generation;
    if (fetch->has_children) most -= move_members(p->node, fetch->tree.root, most);
    for (; most > 0 && fetch->filled < json_array_size(fetch->instances); ++fetch->filled) {
        json_t* part = json_array_get(fetch->instances, fetch->filled);
        most -= move_members(p->node, part, most);
        if (json_object_size(part) > 0) return false;
    }
    if (most == 0) return false;
    finish(p, *fetch);
    return true;
}

void node_fill_lost(NodePath* p) {
    own_node(p);
    json_object_set_new(p->node, OX_TR_FETCHED, json_true());
    json_object_set_new(p->node, OX_TR_LOST, json_true());
}

bool node_fill_template(NodePath* p, const Fetch& fetch) {
    json_t* pattern = fetch.tree.root;
    if (!fetch.has_children || !json_object_get(pattern, OX_TR_ATTR)) return false;
    json_object_set_new(pattern, OX_TR_FETCHED, json_true());
    ++dm_generation;
    own_node(p);
    json_object_set(p->node, OX_TR_TEMPLATE, pattern);
    json_object_set_new(p->node, OX_TR_PARTIAL, json_true());
    return true;
}
