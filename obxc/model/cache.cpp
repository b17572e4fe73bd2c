#include "model/cache.hpp"

#include <string.h>

#include "model/node.hpp"
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

/// Executes a request; false when the daemon was not reached.
bool ask(ox_jrpcmsg* message) {
    request_exec(message, node_fetch_timeout());
    return !request_lost(message);
}

json_t* result_list(const ox_jrpcmsg* message) {
    return ox_tr_result_list(ox_jrpcmsg_get_result_json(message));
}

/// The attributes of the named nodes as a tree relative to `query`; null when the daemon was not reached.
json_t* fetch_attributes(json_t* names, int level, const char* query) {
    bool instances = level < 0;
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_attributes_new(json_incref(names), level));
    if (instances) ox_jrpcmsg_add_parameter_json_new(message, OX_TR_IGNORE_ACCESS_ERROR, json_true());
    if (!ask(message)) return nullptr;
    json_t* tree = ox_tr_names_to_config(result_list(message), query);
    node_info_normalize(tree);
    return tree;
}

/// The instances of a multi-instance object with all below them; null when the daemon was not reached.
json_t* fetch_instances(const char* query) {
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_names(query, 1));
    if (!ask(message)) return nullptr;
    JsonRef names(json_array());
    for (ox_tr_element element : ox_tr_elements(result_list(message)))
        json_array_append(names, json_object_get(element.json, OX_TR_NAME));
    return fetch_attributes(names, -1, query);
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
        bool is_template = pattern && pattern == ancestor(p, index);
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

void fill_node(const NodePath* p, json_t* children, json_t* instances) {
    json_t* node = p->node;
    ++dm_generation;
    JsonRef attributes(json_incref(json_object_get(node, OX_TR_ATTR)));
    json_object_clear(node);
    json_object_update(node, children);
    // An answer without the node's own attributes (a failed request) does not make it forget what it is.
    if (attributes && !json_object_get(node, OX_TR_ATTR)) json_object_set(node, OX_TR_ATTR, attributes);
    json_object_set_new(node, OX_TR_FETCHED, json_true());
    const char* key;
    json_t* value;
    json_object_foreach(instances, key, value) {
        if (!ox_tr_is_child(key) || !json_is_object(value)) continue;
        json_object_set_new(value, OX_TR_FETCHED, json_true());
        json_object_set(node, key, value);
    }
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
    json_object_set_new(p->node, OX_TR_FETCHED, json_true());
    json_object_set_new(p->node, OX_TR_LOST, json_true());
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
    JsonRef names(json_pack("[s]", query));
    JsonRef children(fetch_attributes(names, 1, query));
    JsonRef instances(children && p->multi ? fetch_instances(query) : nullptr);
    if (!children || (p->multi && !instances)) {
        fetch_failed(p);
        return;
    }
    fill_node(p, children, instances);
    if (given_up) json_object_del(given_up, p->path);
}

json_t* node_child_get(NodePath* p, const char* name) {
    bool number = is_instance_number(name, -1);
    bool missing = p->multi && number && !json_object_get(p->node, name);
    // Under a bound, for a hint, what is known will do: it comes with each key.
    if (fetch_end >= 0 && node_is_fetched(p->node)) missing = false;
    if (missing || node_needs_fetch(p->node)) node_fetch(p);
    return node_child_find(p->node, name, strlen(name));
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
