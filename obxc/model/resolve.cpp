#include "model/resolve.hpp"

#include <stdio.h>
#include <string.h>
#include <strings.h>

#include <algorithm>

#include "model/cache.hpp"
#include "model/changes.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/node_fetch.hpp"
#include "model/path.hpp"
#include "ox_out.hpp"
#include "ox_tr.hpp"

namespace {

bool climb_run(NodePath* p, std::string_view run) {
    for (char c : run) {
        if (c != '<') return false;
        path_climb(p);
    }
    return true;
}

bool go_previous(NodePath* p, bool quiet) {
    if (!previous_find()) return false;
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
    json_t* child = node_child_get(p, OX_TR_TEMPLATE);
    if (!child) return false;
    p->via_template = 1;
    return path_push_child(p, child, OX_TR_TEMPLATE) == 0;
}

/// Whether a member that is called `key` is meant by `name`: ignoring case; a method's "()" may be left out
/// or added.
bool is_meant(const char* key, json_t* member, const char* name) {
    if (strcasecmp(key, name) == 0) return true;
    size_t key_size = strlen(key), name_size = strlen(name);
    const char* more = key_size > name_size ? key + name_size : name + key_size;
    size_t shared = std::min(key_size, name_size);
    return strcmp(more, "()") == 0 && strncasecmp(key, name, shared) == 0 &&
           ox_tr_dm_node_type_get(member) == OX_TR_METHOD;
}

/// The member that is called `*name`: exactly, else the first one that is meant by it, whose spelling `*name`
/// becomes.
json_t* find_member(json_t* node, const char** name) {
    json_t* exact = json_object_get(node, *name);
    if (exact) return exact;
    const char* key;
    json_t* value;
    json_object_foreach(node, key, value) {
        if (!is_meant(key, value, *name)) continue;
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
    return child && path_push_child(p, child, name) == 0;
}

bool resolve_component(NodePath* p, std::string_view component, bool quiet) {
    switch (component[0]) {
        case '<':
            return climb_run(p, component);
        case '-':
            return go_previous(p, quiet);
        case '*':
            return component.size() == 1 && descend_template(p);
        case '#':
            if (!p->input_allowed || component != OX_TR_INPUT) return false;
            break;
        default:
            break;
    }
    char name[sizeof p->path];
    return path_component(name, component) && descend(p, name);
}

}  // namespace

int path_resolve(NodePath* p, const char* text, bool quiet) {
    if (!text) return -2;
    model_events_fold();
    if (*text == ':') {
        path_reset(p);
        ++text;
    }
    for (std::string_view component : ox_tr_components(text)) {
        if (!resolve_component(p, component, quiet)) return -1;
    }
    return 0;
}
