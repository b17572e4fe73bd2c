// The daemon's flat lists of names as nested objects.
#include <string.h>

#include "ox_tr.hpp"

namespace {

/// Cuts the first component off a dotted name: its length, and `*name` behind it. 0 at the end.
size_t next_component(const char** name, const char** component) {
    *component = *name + strspn(*name, ".");
    size_t length = strcspn(*component, ".");
    *name = *component + length;
    return length;
}

/// Whether a name is deeper than a tree may be: releasing one goes down it level by level.
bool is_too_deep(const char* name) {
    enum { DEPTH_LIMIT = 1024 };
    int depth = 0;
    const char* component = nullptr;
    while (depth <= DEPTH_LIMIT && next_component(&name, &component) > 0) depth++;
    return depth > DEPTH_LIMIT;
}

/// Where `name` goes on below `base`, component by component; null when it lies outside.
const char* below_base(const char* name, const char* base) {
    for (;;) {
        const char* wanted = nullptr;
        const char* found = nullptr;
        size_t wanted_length = next_component(&base, &wanted);
        if (wanted_length == 0) return name;
        size_t found_length = next_component(&name, &found);
        if (found_length != wanted_length || memcmp(found, wanted, wanted_length) != 0) return nullptr;
    }
}

/// Keys of the cache's own that a name from outside must not take.
bool is_reserved(const char* component, size_t length) {
    static const char* const keys[] = {"#info", "#attr", "#fetched", "#lost"};
    if (component[0] != '#') return false;
    for (const char* key : keys) {
        if (strlen(key) == length && memcmp(key, component, length) == 0) return true;
    }
    return false;
}

/// The object under a key, made when there is nothing; null when something else is in the way.
json_t* child_object(json_t* node, const char* key, size_t length) {
    json_t* child = json_object_getn(node, key, length);
    if (child) return json_is_object(child) ? child : nullptr;
    child = json_object();
    return json_object_setn_new(node, key, length, child) == 0 ? child : nullptr;
}

/// The object named by the rest of a name, made with all on its way; null when something else is in the way.
json_t* make_node(json_t* root, const char* name) {
    json_t* node = root;
    const char* component = nullptr;
    while (size_t length = next_component(&name, &component)) {
        if (is_reserved(component, length)) return nullptr;
        node = child_object(node, component, length);
        if (!node) return nullptr;
    }
    return node;
}

json_t* element_info(const json_t* element) {
    json_t* info = json_object();
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(const_cast<json_t*>(element), key, value) {
        if (strcmp(key, "Name") != 0) json_object_set(info, key, value);
    }
    return info;
}

/// Stores a value at a dotted name; what is in the way stays.
void set_value(json_t* root, const char* name, json_t* value) {
    const char* component = nullptr;
    json_t* node = root;
    size_t length = next_component(&name, &component);
    while (length > 0) {
        const char* next = nullptr;
        size_t next_length = next_component(&name, &next);
        if (next_length == 0) {
            json_object_setn_new(node, component, length, value ? json_incref(value) : json_null());
            return;
        }
        node = child_object(node, component, length);
        if (!node) return;
        component = next;
        length = next_length;
    }
}

}  // namespace

json_t* ox_tr_names_to_config(const json_t* list, const char* base) {
    json_t* config = json_object();
    size_t index = 0;
    json_t* element = nullptr;
    json_array_foreach(list, index, element) {
        const char* name = json_string_value(json_object_get(element, "Name"));
        const char* rest = name && !is_too_deep(name) ? below_base(name, base ? base : ".") : nullptr;
        json_t* node = rest ? make_node(config, rest) : nullptr;
        if (node) json_object_set_new(node, "#info", element_info(element));
    }
    return config;
}

json_t* ox_tr_namevalues_to_config(const json_t* list, const char* prefix) {
    json_t* config = nullptr;
    size_t prefix_length = prefix ? strlen(prefix) : 0;
    size_t index = 0;
    json_t* element = nullptr;
    json_array_foreach(list, index, element) {
        const char* name = json_string_value(json_object_get(element, "Name"));
        if (!name || is_too_deep(name)) continue;
        if (!config) config = json_object();
        if (prefix_length > 0 && strncmp(name, prefix, prefix_length) == 0) name += prefix_length;
        set_value(config, name, json_object_get(element, "Value"));
    }
    return config;
}
