#include "model/node_fetch.hpp"

#include <string.h>

#include <new>

#include "model/cache.hpp"
#include "model/fetch.hpp"
#include "model/node.hpp"
#include "model/path.hpp"
#include "model/shared.hpp"
#include "ox_socket.hpp"
#include "ox_string.hpp"
#include "ox_tr.hpp"
#include "session/background.hpp"
#include "session/request.hpp"

namespace {

/// The node of the path's component `index` (0: the root).
json_t* ancestor(const NodePath* p, size_t index) {
    size_t depth = json_array_size(p->parents);
    return index < depth ? json_array_get(p->parents, depth - 1 - index) : p->node;
}

/// The path's text, with "#template" in place of the numbers of instances that the cache knows by their
/// template alone: asking for such an instance would empty the template. False when that gets too long.
bool template_path(const NodePath* p, char out[FETCH_QUERY_SIZE]) {
    size_t index = 0;
    out[0] = '\0';
    for (std::string_view component : ox_tr_components(p->path)) {
        const json_t* pattern = json_object_get(ancestor(p, index++), OX_TR_TEMPLATE);
        bool known = json_object_getn(ancestor(p, index - 1), component.data(), component.size());
        bool is_template = pattern && !known && pattern == ancestor(p, index);
        if (!ox_tr_path_join(out, FETCH_QUERY_SIZE - 1, is_template ? OX_TR_TEMPLATE : component))
            return false;
    }
    return true;
}

void query_path(const NodePath* p, char out[FETCH_QUERY_SIZE]) {
    if (!p->path[0]) {
        ox_string_strlcpy(out, ".", FETCH_QUERY_SIZE);
        return;
    }
    if (!template_path(p, out)) ox_string_strlcpy(out, p->path, FETCH_QUERY_SIZE);
    if (ox_tr_path_is_full(out)) ox_string_strlcat(out, ".", FETCH_QUERY_SIZE);
}

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

void fill_node(NodePath* p, const Fetch& fetch) {
    ++dm_generation;
    own_node(p);
    json_t* node = p->node;
    JsonRef attributes(json_incref(json_object_get(node, OX_TR_ATTR)));
    json_object_clear(node);
    if (fetch.has_children) json_object_update(node, fetch.tree.root);
    // An answer without the node's own attributes (a failed request) does not make it forget what it is.
    if (attributes && !json_object_get(node, OX_TR_ATTR)) json_object_set(node, OX_TR_ATTR, attributes);
    json_object_set_new(node, OX_TR_FETCHED, json_true());
    if (fetch.instances) json_object_update(node, fetch.instances);
    if (p->ordered) json_object_set_new(node, OX_TR_ORDER, json_pack("{s:b}", OX_TR_FETCHED, 1));
    if (!p->path[0]) json_object_del(node, "DataModelVersion");
    if (fetch.outcome == FETCH_LARGE) json_object_set_new(node, OX_TR_LARGE, json_true());
}

void fill_lost(NodePath* p) {
    own_node(p);
    json_object_set_new(p->node, OX_TR_FETCHED, json_true());
    json_object_set_new(p->node, OX_TR_LOST, json_true());
}

/// False when it did not come.
bool fill_template(NodePath* p, const Fetch& fetch) {
    json_t* pattern = fetch.tree.root;
    if (!fetch.has_children || !json_object_get(pattern, OX_TR_ATTR)) return false;
    json_object_set_new(pattern, OX_TR_FETCHED, json_true());
    ++dm_generation;
    own_node(p);
    json_object_set(p->node, OX_TR_TEMPLATE, pattern);
    json_object_set_new(p->node, OX_TR_PARTIAL, json_true());
    return true;
}

/// What is asked for below or at a place.
struct Wanted {
    char query[FETCH_QUERY_SIZE];
    bool multi;
    bool is_template;
};

/// What was begun for hints. The place holds references: its node may have left the cache meanwhile.
struct Begun {
    bool on;  // for who asks just now
    NodePath place;
    Wanted wanted;
    Fetch* fetch;  // in `storage`, or null
    alignas(Fetch) char storage[sizeof(Fetch)];
} begun;

void begin_step() {
    fetch_ask(begun.fetch);
    if (!request_begin(begun.fetch->message, &begun.fetch->taker)) fetch_drop();
}

void begin(const NodePath* p, const Wanted& wanted) {
    if (begun.fetch) return;
    path_copy(&begun.place, p);
    begun.wanted = wanted;
    begun.fetch = new (begun.storage) Fetch(wanted.query, wanted.multi);
    begin_step();
}

bool is_begun(const Wanted& wanted) {
    return begun.fetch && begun.wanted.multi == wanted.multi && strcmp(begun.wanted.query, wanted.query) == 0;
}

/// Waits for what was begun until it is through. A jump leaves the request underway. False when it did not
/// come, but for a silent daemon: it is worth to be asked again.
bool finish_begun() {
    while (begun.fetch && begun.fetch->step != FETCH_STEP_END) {
        request_finish(begun.fetch->message);
        bool late = begun.fetch->message->error_code == OX_SOCKET_ETIMEOUT;
        fetch_take(begun.fetch);
        if (begun.fetch->outcome == FETCH_LOST && !late) {
            fetch_drop();
            return false;
        }
        if (begun.fetch->step != FETCH_STEP_END) begin_step();
    }
    return begun.fetch;
}

bool fill(NodePath* p, const Wanted& wanted, const Fetch& fetch) {
    if (wanted.is_template) return fill_template(p, fetch);
    bool reached = fetch.outcome != FETCH_LOST;
    reached ? fill_node(p, fetch) : fill_lost(p);
    return reached;
}

/// Asks for it and fills the place.
bool fetch_wanted(NodePath* p, const Wanted& wanted) {
    if (begun.on) {
        begin(p, wanted);
        return false;
    }
    if (is_begun(wanted) && finish_begun()) {
        bool filled = fill(p, wanted, *begun.fetch);
        fetch_drop();
        return filled;
    }
    Fetch fetch(wanted.query, wanted.multi);
    while (fetch.step != FETCH_STEP_END) {
        fetch_ask(&fetch);
        request_exec_list(fetch.message, -1, &fetch.taker);
        fetch_take(&fetch);
    }
    return fill(p, wanted, fetch);
}

}  // namespace

void node_fetch(NodePath* p) {
    if (!p->node) p->node = json_object();
    Wanted wanted = {"", p->multi != 0, false};
    query_path(p, wanted.query);
    fetch_wanted(p, wanted);
}

bool node_fetch_template(NodePath* p) {
    if (!p->multi || node_is_fetched(p->node)) return false;
    Wanted wanted = {"", false, true};
    query_path(p, wanted.query);
    ox_string_strlcat(wanted.query, OX_TR_TEMPLATE, sizeof wanted.query);
    if (ox_string_strlcat(wanted.query, ".", sizeof wanted.query) >= sizeof wanted.query) return false;
    return fetch_wanted(p, wanted);
}

void fetch_in_background(bool on) {
    begun.on = on;
}

bool fetch_is_in_background(void) {
    return begun.on;
}

bool fetch_continue(void) {
    if (!begun.fetch || request_is_underway(begun.fetch->message)) return false;
    fetch_take(begun.fetch);
    if (begun.fetch->step != FETCH_STEP_END) {
        begin_step();
        return !begun.fetch;
    }
    // What was not reached stays as it was, so that the next Tab asks for it.
    if (begun.fetch->outcome != FETCH_LOST) fill(&begun.place, begun.wanted, *begun.fetch);
    fetch_drop();
    return true;
}

void fetch_drop(void) {
    if (!begun.fetch) return;
    if (begun.fetch->message) request_abandon(begun.fetch->message);
    begun.fetch->~Fetch();
    begun.fetch = nullptr;
    path_free(&begun.place);
    begun.place = {};
}
