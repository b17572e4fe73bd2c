#include "model/path.hpp"

#include <stdlib.h>
#include <string.h>

#include "model/cache.hpp"
#include "model/node.hpp"
#include "ox_string.hpp"
#include "ox_tr.hpp"

namespace {

void set_flags(NodePath* p, int multi, int ordered) {
    p->multi = multi & 1;
    p->ordered = ordered & 1;
}

void set_node(NodePath* p, json_t* node) {
    json_t* old = p->node;
    p->node = json_incref(node);
    json_decref(old);
}

}  // namespace

const char* path_copy(NodePath* destination, const NodePath* source) {
    *destination = NodePath{};
    destination->node = json_incref(source->node);
    destination->parents = source->parents ? json_copy(source->parents) : json_array();
    destination->multi = source->multi;
    destination->ordered = source->ordered;
    destination->input_allowed = source->input_allowed;
    ox_string_strlcpy(destination->path, source->path, sizeof destination->path);
    return destination->path;
}

void path_free(NodePath* p) {
    json_decref(p->node);
    json_decref(p->parents);
    p->node = nullptr;
    p->parents = nullptr;
    // The analyzer takes records on the stack, which never have the flag, for owned ones.
    if (p->heap_owned) free(p);  // NOLINT(clang-analyzer-unix.Malloc)
}

void path_reset(NodePath* p) {
    if (p->parents) {
        json_array_clear(p->parents);
    } else {
        p->parents = json_array();
    }
    p->multi = 0;
    p->ordered = 0;
    p->input_allowed = 0;
    p->path[0] = '\0';
    set_node(p, dm_root);
}

int path_push(NodePath* p, json_t* child, const char* name, int multi, int ordered) {
    size_t used = p->node == dm_root ? 0 : strlen(p->path);
    size_t dot = used > 0;
    size_t length = strlen(name);
    if (length >= sizeof p->path || used + dot + length >= sizeof p->path) return -1;
    if (dot) p->path[used] = '.';
    memcpy(p->path + used + dot, name, length + 1);
    set_flags(p, multi, ordered);
    if (!p->parents) p->parents = json_array();
    json_array_insert(p->parents, 0, p->node);
    set_node(p, child);
    return 0;
}

int path_push_child(NodePath* p, json_t* child, const char* name) {
    return path_push(p, child, name, ox_tr_dm_node_is_multi(child), ox_tr_dm_node_is_ordered(child));
}

void path_climb(NodePath* p) {
    p->path[ox_tr_path_parent(p->path)] = '\0';
    json_t* parent = json_array_get(p->parents, 0);
    if (parent) {
        set_node(p, parent);
        json_array_remove(p->parents, 0);
    }
    set_flags(p, ox_tr_dm_node_is_multi(p->node), ox_tr_dm_node_is_ordered(p->node));
}

bool path_follow(NodePath* p, const char* text, bool fetch) {
    path_reset(p);
    for (std::string_view component : ox_tr_components(text)) {
        char name[sizeof p->path];
        if (!path_component(name, component)) return false;
        json_t* child = fetch ? node_child_get(p, name) : node_child_find(p->node, name, component.size());
        if (!child || path_push_child(p, child, name) < 0) return false;
    }
    return true;
}

bool path_is_root(const NodePath* p) {
    return p->node == dm_root;
}

bool path_component(char out[sizeof NodePath::path], std::string_view component) {
    if (component.size() >= sizeof NodePath::path) return false;
    memcpy(out, component.data(), component.size());
    out[component.size()] = '\0';
    return true;
}
