#include "model/node.hpp"

#include <string.h>

#include "ox_tr_names.hpp"
#include "ox_tr_node.hpp"
#include "ox_tr_path.hpp"

namespace {

bool object_tree(const json_t* value, int depth) {
    if (!json_is_object(value) || depth == 0) return false;
    const char* key;
    json_t* member;
    json_object_foreach(const_cast<json_t*>(value), key, member) {
        if (!object_tree(member, depth - 1)) return false;
    }
    return true;
}

}  // namespace

bool is_instance_number(const char* text, int max) {
    return ox_tr_is_instance({text, max < 0 ? strlen(text) : strnlen(text, static_cast<size_t>(max))});
}

bool node_is_parameter(const json_t* node) {
    return ox_tr_dm_type_is_parameter(ox_tr_dm_node_type_get(node));
}

bool node_is_read_only(const json_t* node) {
    const char* access = json_string_value(json_object_get(ox_tr_dm_node_attr_get(node), "access"));
    return access && strcmp(access, "readOnly") == 0;
}

bool node_needs_fetch(const json_t* node) {
    if (json_is_true(json_object_get(node, OX_TR_LOST)) || json_object_get(node, OX_TR_PARTIAL)) return true;
    size_t size = json_object_size(node) - (json_object_get(node, OX_TR_SHARED) ? 1 : 0);
    return size == 0 || (size == 1 && json_object_get(node, OX_TR_ATTR));
}

bool node_is_fetched(const json_t* node) {
    return json_is_true(json_object_get(node, OX_TR_FETCHED)) &&
           !json_is_true(json_object_get(node, OX_TR_LOST));
}

json_t* node_child_find(const json_t* node, const char* key, size_t key_length) {
    json_t* child = json_object_getn(node, key, key_length);
    if (child || !ox_tr_is_instance({key, key_length})) return child;
    return json_object_get(node, OX_TR_TEMPLATE);
}

bool json_is_object_tree(const json_t* value) {
    // Deeper than any JSON text may be that the parser accepts.
    constexpr int DEPTH_LIMIT = 4096;
    return object_tree(value, DEPTH_LIMIT);
}
