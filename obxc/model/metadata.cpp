#include "model/metadata.hpp"

#include <string.h>

#include "model/path.hpp"
#include "ox_log.hpp"
#include "ox_string.hpp"
#include "ox_tr.hpp"
#include "ox_wait.hpp"
#include "session/prompt.hpp"
#include "session/request.hpp"

json_t* dm_root = nullptr;
unsigned dm_generation = 0;

namespace {

/// The socket errors lie above this code, the daemon's own errors do not.
enum { SOCKET_ERRORS = -100 };

json_t* retired = nullptr;   // nodes that the cache dropped and somebody may still hold
json_t* given_up = nullptr;  // paths whose bounded fetch did not come back in time
long long fetch_end = -1;    // when the bound of fetches runs out, -1: there is none

void retire(json_t* node) {
    if (!node) return;
    if (!retired) retired = json_array();
    json_array_append(retired, node);
}

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
    return json_object_get(ox_jrpcmsg_get_result_json(message), "ParameterList");
}

/// The attributes of the named nodes as a tree relative to `query`; null when the daemon was not reached.
json_t* fetch_attributes(json_t* names, int level, const char* query) {
    bool instances = level < 0;
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_attributes_new(json_incref(names), level));
    if (instances) ox_jrpcmsg_add_parameter_json_new(message, "IgnoreAccessError", json_true());
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
    size_t index;
    json_t* item;
    json_array_foreach(result_list(message), index, item) {
        json_t* name = json_object_get(item, "Name");
        if (json_is_string(name)) json_array_append(names, name);
    }
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
    const char* text = p->path;
    size_t used = 0;
    for (size_t index = 0; *text != '\0'; ++index) {
        size_t length = strcspn(text, ".");
        json_t* pattern = json_object_get(ancestor(p, index), "#template");
        bool is_template = pattern && pattern == ancestor(p, index + 1);
        const char* component = is_template ? "#template" : text;
        size_t size = is_template ? strlen(component) : length;
        if (used + size + 3 > QUERY_SIZE) return false;  // a point before it, one behind, the end
        if (used > 0) out[used++] = '.';
        memcpy(out + used, component, size);
        used += size;
        text += length + (text[length] == '.');
    }
    out[used] = '\0';
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
    if (json_object_size(node) > 0) retire(JsonRef(json_copy(node)));
    JsonRef attributes(json_incref(json_object_get(node, "#attr")));
    json_object_clear(node);
    json_object_update(node, children);
    // An answer without the node's own attributes (a failed request) does not make it forget what it is.
    if (attributes && !json_object_get(node, "#attr")) json_object_set(node, "#attr", attributes);
    json_object_set_new(node, "#fetched", json_true());
    const char* key;
    json_t* value;
    json_object_foreach(instances, key, value) {
        if (key[0] == '#' || !json_is_object(value)) continue;
        json_object_set_new(value, "#fetched", json_true());
        json_object_set(node, key, value);
    }
    if (p->ordered) json_object_set_new(node, "order", json_pack("{s:b}", "#fetched", 1));
    if (!p->path[0]) json_object_del(node, "DataModelVersion");
}

void doubt(json_t* node) {
    if (json_object_get(node, "#template") && json_object_get(node, "#fetched")) {
        json_object_set_new(node, "#lost", json_true());
    }
    const char* key;
    json_t* child;
    json_object_foreach(node, key, child) {
        if (key[0] != '#' || strcmp(key, "#template") == 0) doubt(child);
    }
}

void fetch_failed(NodePath* p) {
    if (fetch_end >= 0) {
        fetch_give_up(p);
        return;
    }
    json_object_set_new(p->node, "#fetched", json_true());
    json_object_set_new(p->node, "#lost", json_true());
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

bool request_lost(const ox_jrpcmsg* message) {
    return message->error_code < 0 && message->error_code > SOCKET_ERRORS;
}

bool node_needs_fetch(const json_t* node) {
    size_t size = json_object_size(node);
    if (size == 0 || json_is_true(json_object_get(node, "#lost"))) return true;
    return size == 1 && json_object_get(node, "#attr");
}

bool node_is_fetched(const json_t* node) {
    return json_is_true(json_object_get(node, "#fetched")) && !json_is_true(json_object_get(node, "#lost"));
}

void node_fetch(NodePath* p) {
    if (fetch_given_up(p)) return;
    if (!p->node) {
        JsonRef node(json_object());
        retire(node);
        p->node = node;
    }
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
    json_t* child = json_object_get(p->node, name);
    if (child || !number) return child;
    return json_object_get(p->node, "#template");
}

void node_member_drop(json_t* node, const char* key) {
    ++dm_generation;
    retire(json_object_get(node, key));
    json_object_del(node, key);
}

void node_info_normalize(json_t* value) {
    json_t* info = json_object_get(value, "#info");
    if (info) {
        json_t* attributes = json_object_get(info, "Attributes");
        if (attributes) json_object_set(value, "#attr", attributes);
        json_object_del(value, "#info");
    }
    const char* key;
    json_t* member;
    json_object_foreach(value, key, member) node_info_normalize(member);
}

json_t* dm_reload(void) {
    retire(dm_root);
    ++dm_generation;
    json_decref(dm_root);
    dm_root = json_object();
    json_decref(given_up);
    given_up = nullptr;
    previous_path.node = nullptr;
    json_array_clear(previous_path.parents);
    path_reset(&current_path);
    paths_pin();
    node_fetch(&current_path);
    prompt_rebuild();
    return dm_root;
}

void dm_identity_changed(void) {
    if (dm_root) dm_reload();
}

void dm_settle(void) {
    if (json_array_size(retired) == 0) return;
    ++dm_generation;
    paths_refresh();
    json_array_clear(retired);
}

void dm_doubt(void) {
    ++dm_generation;
    doubt(dm_root);
}

void dm_free(void) {
    ++dm_generation;
    json_decref(dm_root);
    dm_root = nullptr;
    current_path.node = nullptr;
    previous_path.node = nullptr;
    paths_pin();
    json_decref(retired);
    retired = nullptr;
    json_decref(given_up);
    given_up = nullptr;
}
