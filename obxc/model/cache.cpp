#include "model/cache.hpp"

#include <string.h>

#include "model/fetch.hpp"
#include "model/node.hpp"
#include "model/path.hpp"
#include "model/shared.hpp"
#include "ox_confapi.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_raii.hpp"
#include "ox_string.hpp"
#include "ox_tr.hpp"
#include "ox_wait.hpp"
#include "session/request.hpp"

json_t* dm_root = nullptr;
unsigned dm_generation = 0;

namespace {

json_t* given_up = nullptr;  // paths whose bounded fetch did not come back in time
long long fetch_end = -1;    // when the bound of fetches runs out, -1: there is none

bool fetch_given_up(const NodePath* p) {
    return fetch_end >= 0 && (ox_wait_now_ms() >= fetch_end || json_object_get(given_up, p->path));
}

void fetch_give_up(const NodePath* p) {
    if (!given_up) given_up = json_object();
    json_object_set_new(given_up, p->path, json_true());
}

enum { QUERY_SIZE = 260 };

/// The node of the path's component `index` (0: the root).
json_t* ancestor(const NodePath* p, size_t index) {
    size_t depth = json_array_size(p->parents);
    return index < depth ? json_array_get(p->parents, depth - 1 - index) : p->node;
}

/// The path's text, with "#template" in place of the numbers of instances that the cache knows by their
/// template alone: asking for such an instance would empty the template. False when that gets too long.
bool template_path(const NodePath* p, char out[QUERY_SIZE]) {
    size_t index = 0;
    out[0] = '\0';
    for (std::string_view component : ox_tr_components(p->path)) {
        const json_t* pattern = json_object_get(ancestor(p, index++), OX_TR_TEMPLATE);
        bool known = json_object_getn(ancestor(p, index - 1), component.data(), component.size());
        bool is_template = pattern && !known && pattern == ancestor(p, index);
        if (!ox_tr_path_join(out, QUERY_SIZE - 1, is_template ? OX_TR_TEMPLATE : component)) return false;
    }
    return true;
}

void query_path(const NodePath* p, char out[QUERY_SIZE]) {
    if (!p->path[0]) {
        ox_string_strlcpy(out, ".", QUERY_SIZE);
        return;
    }
    if (!template_path(p, out)) ox_string_strlcpy(out, p->path, QUERY_SIZE);
    if (ox_tr_path_is_full(out)) ox_string_strlcat(out, ".", QUERY_SIZE);
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

void fill_node(NodePath* p, json_t* children, json_t* instances) {
    ++dm_generation;
    own_node(p);
    json_t* node = p->node;
    JsonRef attributes(json_incref(json_object_get(node, OX_TR_ATTR)));
    json_object_clear(node);
    json_object_update(node, children);
    // An answer without the node's own attributes (a failed request) does not make it forget what it is.
    if (attributes && !json_object_get(node, OX_TR_ATTR)) json_object_set(node, OX_TR_ATTR, attributes);
    json_object_set_new(node, OX_TR_FETCHED, json_true());
    if (instances) json_object_update(node, instances);
    if (p->ordered) json_object_set_new(node, OX_TR_ORDER, json_pack("{s:b}", OX_TR_FETCHED, 1));
    if (!p->path[0]) json_object_del(node, "DataModelVersion");
}

void doubt(json_t* node) {
    if (json_object_get(node, OX_TR_TEMPLATE) && json_object_get(node, OX_TR_FETCHED)) {
        json_object_set_new(node, OX_TR_LOST, json_true());
    }
    const char* key;
    json_t* child;
    json_object_foreach(node, key, child) {
        if (ox_tr_is_child(key) || strcmp(key, OX_TR_TEMPLATE) == 0) doubt(child);
    }
}

void fetch_failed(NodePath* p) {
    if (fetch_end >= 0) {
        fetch_give_up(p);
        return;
    }
    own_node(p);
    json_object_set_new(p->node, OX_TR_FETCHED, json_true());
    json_object_set_new(p->node, OX_TR_LOST, json_true());
}

/// The node with its children, and of a multi-instance object the instances' own attributes, relative to
/// `query`. Where these are too many for an answer, the node comes without them.
json_t* fetch_children(const NodePath* p, const char* query, fetch_outcome* outcome) {
    JsonRef names(json_pack("[s]", query));
    JsonRef children(fetch_nodes(names, 1, query, node_fetch_timeout(), outcome));
    if (*outcome != FETCH_LARGE || !p->multi) return children.release();
    json_array_append_new(names, json_sprintf("%s%s.", query, OX_TR_TEMPLATE));
    json_array_append_new(names, json_sprintf("%s%s", query, OX_TR_MAX_INSTANCE));
    return fetch_nodes(names, 0, query, node_fetch_timeout(), outcome);
}

/// Puts the template alone below a multi-instance object whose other children nobody asked for yet. False
/// when it did not come.
bool template_fetch(NodePath* p) {
    if (!p->multi || node_is_fetched(p->node) || fetch_given_up(p)) return false;
    char query[QUERY_SIZE];
    query_path(p, query);
    ox_string_strlcat(query, OX_TR_TEMPLATE, sizeof query);
    if (ox_string_strlcat(query, ".", sizeof query) >= sizeof query) return false;
    JsonRef names(json_pack("[s]", query));
    fetch_outcome outcome = FETCH_DONE;
    JsonRef pattern(fetch_nodes(names, 1, query, node_fetch_timeout(), &outcome));
    if (!pattern || !json_object_get(pattern, OX_TR_ATTR)) return false;
    json_object_set_new(pattern, OX_TR_FETCHED, json_true());
    ++dm_generation;
    own_node(p);
    json_object_set(p->node, OX_TR_TEMPLATE, pattern);
    json_object_set_new(p->node, OX_TR_PARTIAL, json_true());
    return true;
}

}  // namespace

void node_fetch_limit(int ms) {
    fetch_end = ms < 0 ? -1 : ox_wait_now_ms() + ms;
}

int node_fetch_timeout(void) {
    if (fetch_end < 0) return -1;
    long long left = fetch_end - ox_wait_now_ms();
    return left > 0 ? static_cast<int>(left) : 1;
}

void node_fetch(NodePath* p) {
    if (fetch_given_up(p)) return;
    if (!p->node) p->node = json_object();
    char query[QUERY_SIZE];
    query_path(p, query);
    fetch_outcome outcome = FETCH_DONE;
    JsonRef children(fetch_children(p, query, &outcome));
    JsonRef instances(children && p->multi ? fetch_instances(query, node_fetch_timeout, &outcome) : nullptr);
    if (outcome == FETCH_LOST) {
        fetch_failed(p);
        return;
    }
    fill_node(p, children, instances);
    if (outcome == FETCH_LARGE) json_object_set_new(p->node, OX_TR_LARGE, json_true());
    if (given_up) json_object_del(given_up, p->path);
}

json_t* node_child_get(NodePath* p, const char* name) {
    if (strcmp(name, OX_TR_TEMPLATE) == 0) {
        json_t* known = json_object_get(p->node, OX_TR_TEMPLATE);
        if (known || template_fetch(p)) return json_object_get(p->node, OX_TR_TEMPLATE);
    }
    bool number = is_instance_number(name, -1);
    bool missing = p->multi && number && !json_object_get(p->node, name);
    // Under a bound, for a hint, what is known will do: it comes with each key.
    if (fetch_end >= 0 && node_is_fetched(p->node)) missing = false;
    if (missing || node_needs_fetch(p->node)) node_fetch(p);
    return node_child_find(p->node, name, strlen(name));
}

json_t* node_own(const char* path) {
    json_t* node = dm_root;
    for (std::string_view component : ox_tr_components(path))
        if (node) node = node_own_member(node, component);
    return node;
}

void node_member_drop(json_t* node, const char* key) {
    ++dm_generation;
    json_object_del(node, key);
}

void cache_clear(bool make_root) {
    ++dm_generation;
    json_decref(dm_root);
    dm_root = make_root ? json_object() : nullptr;
    json_decref(given_up);
    given_up = nullptr;
    shared_leaves_clear();
}

void dm_doubt(void) {
    ++dm_generation;
    doubt(dm_root);
}

json_t* dm_schema_get(const char* path) {
    size_t length = path ? strcspn(path, "{[*") : 0;
    JsonRef names(json_array());
    json_array_append_new(names, length > 0 ? json_stringn(path, length) : json_string("."));
    MsgRef message(ox_jrpcmsg_cmd_get_datamodel_new(names.release(), -1));
    if (ox_confapi_exec(message) < 0) return nullptr;
    return json_incref(json_object_get(ox_jrpcmsg_get_result_json(message), OX_TR_DATAMODEL));
}
