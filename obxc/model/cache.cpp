#include "model/cache.hpp"

#include <string.h>

#include "model/changes.hpp"
#include "model/node.hpp"
#include "model/node_fetch.hpp"
#include "model/shared.hpp"
#include "ox_confapi.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_raii.hpp"
#include "ox_tr.hpp"

json_t* dm_root = nullptr;
unsigned dm_generation = 0;

namespace {

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

}  // namespace

json_t* node_child_get(NodePath* p, const char* name) {
    if (strcmp(name, OX_TR_TEMPLATE) == 0) {
        json_t* known = json_object_get(p->node, OX_TR_TEMPLATE);
        if (known || node_fetch_template(p)) return json_object_get(p->node, OX_TR_TEMPLATE);
    }
    bool number = is_instance_number(name, -1);
    bool missing = p->multi && number && !json_object_get(p->node, name);
    // For a hint what is known will do: it comes with each key.
    if (fetch_is_in_background() && node_is_fetched(p->node)) missing = false;
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
    fetch_drop();
    model_changes_drop_begun();
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
