#include "model/path.hpp"

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "model/metadata.hpp"
#include "model/model_events.hpp"
#include "ox_out.hpp"
#include "ox_string.hpp"
#include "ox_tr.hpp"

NodePath current_path;
NodePath previous_path;

namespace {

enum { INSTANCE_DIGITS = 20 };

// References on the nodes of the two global paths: a path itself only borrows its node.
json_t* pinned_current = nullptr;
json_t* pinned_previous = nullptr;

void set_flags(NodePath* p, int multi, int ordered) {
    p->multi = multi & 1;
    p->ordered = ordered & 1;
}

int push_child(NodePath* p, json_t* child, const char* name) {
    return path_push(p, child, name, ox_tr_dm_node_is_multi(child), ox_tr_dm_node_is_ordered(child));
}

void climb(NodePath* p) {
    char* dot = strrchr(p->path, '.');
    *(dot ? dot : p->path) = '\0';
    json_t* parent = json_array_get(p->parents, 0);
    if (parent) {
        p->node = parent;
        json_array_remove(p->parents, 0);
    }
    set_flags(p, ox_tr_dm_node_is_multi(p->node), ox_tr_dm_node_is_ordered(p->node));
}

bool climb_run(NodePath* p, const char* run, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        if (run[i] != '<') return false;
        climb(p);
    }
    return true;
}

/// After the cache was dropped the previous path is only a text: looks its node up.
bool previous_restore(void) {
    if (previous_path.node || !dm_root) return true;
    NodePath found = {};
    path_reset(&found);
    if (!path_follow(&found, previous_path.path, true)) {
        path_free(&found);
        return false;
    }
    path_free(&previous_path);
    previous_path = found;
    paths_pin();
    return true;
}

bool go_previous(NodePath* p, bool quiet) {
    if (!previous_restore()) return false;
    if (!quiet) {
        putchar(':');
        ox_out_text(previous_path.path);
        putchar('\n');
    }
    // The record may be on the heap: it is refilled, not released, and its owner still releases it.
    bool heap_owned = p->heap_owned;
    p->heap_owned = 0;
    path_free(p);
    path_copy(p, &previous_path);
    p->heap_owned = heap_owned & 1;
    return true;
}

bool descend_template(NodePath* p) {
    json_t* child = node_child_get(p, "#template");
    if (!child) return false;
    p->via_template = 1;
    return push_child(p, child, "#template") == 0;
}

/// The member that is called `*name`: exactly, else the first one ignoring case, whose spelling `*name`
/// becomes.
json_t* find_member(json_t* node, const char** name) {
    json_t* exact = json_object_get(node, *name);
    if (exact) return exact;
    const char* key;
    json_t* value;
    json_object_foreach(node, key, value) {
        if (strcasecmp(key, *name) != 0) continue;
        *name = key;
        return value;
    }
    return nullptr;
}

bool descend(NodePath* p, const char* name) {
    json_t* child;
    if (is_instance_number(name, -1)) {
        child = node_child_get(p, name);
    } else {
        if (node_needs_fetch(p->node)) node_fetch(p);
        child = find_member(p->node, &name);
    }
    return child && push_child(p, child, name) == 0;
}

bool resolve_component(NodePath* p, const char* text, size_t length, bool quiet) {
    if (text[0] == '<') return climb_run(p, text, length);
    if (text[0] == '-') return go_previous(p, quiet);
    if (text[0] == '*') return length == 1 && descend_template(p);
    char name[sizeof p->path];
    if (length >= sizeof name) return false;
    memcpy(name, text, length);
    name[length] = '\0';
    if (name[0] == '#' && (!p->input_allowed || strcmp(name, "#input") != 0)) return false;
    return descend(p, name);
}

/// What a name finds without asking the daemon.
json_t* cached_child(json_t* node, const char* name) {
    json_t* child = json_object_get(node, name);
    if (child || !is_instance_number(name, -1)) return child;
    return json_object_get(node, "#template");
}

void refresh(NodePath* p) {
    if (!p->node || !dm_root) return;
    NodePath found = {};
    path_reset(&found);
    if (!path_follow(&found, p->path, false)) {
        path_free(&found);  // the model lost it: the path keeps the node that it knew
        return;
    }
    found.input_allowed = p->input_allowed;
    found.via_template = p->via_template;
    path_free(p);
    *p = found;
}

}  // namespace

ScopedPath::ScopedPath(const NodePath* source)
    : NodePath{}, ox_held([](ox_held* self) { static_cast<ScopedPath*>(self)->~ScopedPath(); }) {
    path_copy(this, source);
}

const char* path_copy(NodePath* destination, const NodePath* source) {
    *destination = NodePath{};
    destination->node = source->node;
    destination->parents = source->parents ? json_copy(source->parents) : json_array();
    destination->multi = source->multi;
    destination->ordered = source->ordered;
    destination->input_allowed = source->input_allowed;
    ox_string_strlcpy(destination->path, source->path, sizeof destination->path);
    return destination->path;
}

void path_free(NodePath* p) {
    json_decref(p->parents);
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
    p->node = dm_root;
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
    p->node = child;
    return 0;
}

int path_resolve(NodePath* p, const char* text, bool quiet) {
    if (!text) return -2;
    model_events_fold();
    if (*text == ':') {
        path_reset(p);
        ++text;
    }
    for (;;) {
        text += strspn(text, ".");
        size_t length = strcspn(text, ".");
        if (length == 0) return 0;
        if (!resolve_component(p, text, length, quiet)) return -1;
        text += length;
    }
}

bool path_follow(NodePath* p, const char* text, bool fetch) {
    path_reset(p);
    for (;;) {
        text += strspn(text, ".");
        size_t length = strcspn(text, ".");
        if (length == 0) return true;
        char name[sizeof p->path];
        if (length >= sizeof name) return false;
        memcpy(name, text, length);
        name[length] = '\0';
        json_t* child = fetch ? node_child_get(p, name) : cached_child(p->node, name);
        if (!child || push_child(p, child, name) < 0) return false;
        text += length;
    }
}

void paths_pin(void) {
    json_t* current = json_incref(current_path.node);
    json_t* previous = json_incref(previous_path.node);
    json_decref(pinned_current);
    json_decref(pinned_previous);
    pinned_current = current;
    pinned_previous = previous;
}

void paths_refresh(void) {
    refresh(&current_path);
    refresh(&previous_path);
    paths_pin();
}

bool is_instance_number(const char* text, int max) {
    int digits = 0;
    for (; (max < 0 || digits < max) && text[digits] != '\0'; ++digits) {
        if (!isdigit(static_cast<unsigned char>(text[digits])) || digits == INSTANCE_DIGITS) return false;
    }
    return digits > 0;
}

bool node_is_parameter(const json_t* node) {
    return ox_tr_dm_type_is_parameter(ox_tr_dm_node_type_get(node));
}

bool path_is_root(const NodePath* p) {
    return p->node == dm_root;
}
