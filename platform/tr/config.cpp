#include <string.h>

#include "ox_tr_config.hpp"
#include "ox_tr_list.hpp"
#include "ox_tr_names.hpp"
#include "ox_tr_node.hpp"
#include "ox_tr_path.hpp"

namespace {

/// Whether a name is deeper than a tree may be: a tree is released by recursion, a stack frame a level.
bool is_too_deep(const char* name) {
    enum { DEPTH_LIMIT = 1024 };
    int depth = 0;
    for ([[maybe_unused]] std::string_view component : ox_tr_components(name)) {
        if (++depth > DEPTH_LIMIT) return true;
    }
    return false;
}

/// The object under a key, made when there is nothing; null when something else is in the way.
json_t* child_object(json_t* node, std::string_view key) {
    json_t* child = json_object_getn(node, key.data(), key.size());
    if (child) return json_is_object(child) ? child : nullptr;
    child = json_object();
    return json_object_setn_new(node, key.data(), key.size(), child) == 0 ? child : nullptr;
}

/// The object named by the rest of a name, made with all on its way; null when something else is in the way.
json_t* make_node(json_t* root, const char* name) {
    json_t* node = root;
    for (std::string_view component : ox_tr_components(name)) {
        if (!node || ox_tr_is_mark(component)) return nullptr;
        node = child_object(node, component);
    }
    return node;
}

json_t* element_info(const json_t* element) {
    json_t* info = json_object();
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(const_cast<json_t*>(element), key, value) {
        if (strcmp(key, OX_TR_NAME) != 0) json_object_set(info, key, value);
    }
    return info;
}

/// Stores a value at a dotted name; what is in the way stays.
void set_value(json_t* root, const char* name, json_t* value) {
    std::string_view key;
    json_t* node = root;
    for (std::string_view component : ox_tr_components(name)) {
        if (!key.empty()) node = child_object(node, key);
        if (!node) return;
        key = component;
    }
    if (key.empty()) return;
    json_object_setn_new(node, key.data(), key.size(), value ? json_incref(value) : json_null());
}

}  // namespace

json_t* ox_tr_names_to_config(const json_t* list, const char* base) {
    json_t* config = json_object();
    for (ox_tr_element element : ox_tr_elements(list)) {
        const char* rest = is_too_deep(element.name) ? nullptr : ox_tr_path_below(element.name, base);
        json_t* node = rest ? make_node(config, rest) : nullptr;
        if (node) json_object_set_new(node, OX_TR_INFO, element_info(element.json));
    }
    return config;
}

json_t* ox_tr_namevalues_to_config(const json_t* list, const char* prefix) {
    json_t* config = nullptr;
    size_t prefix_length = prefix ? strlen(prefix) : 0;
    for (auto [name, element] : ox_tr_elements(list)) {
        if (is_too_deep(name)) continue;
        if (!config) config = json_object();
        if (prefix_length > 0 && strncmp(name, prefix, prefix_length) == 0) name += prefix_length;
        set_value(config, name, json_object_get(element, OX_TR_VALUE));
    }
    return config;
}
