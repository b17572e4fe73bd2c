#include <string.h>

#include "ox_str.hpp"
#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "ox_tr_referrers.hpp"

namespace {

constexpr std::string_view ANY = "{i}";

bool is_any(std::string_view component) {
    return component == ANY || component == "*" || component == OX_TR_TEMPLATE ||
           ox_tr_is_instance(component);
}

/// A path without dots at its ends, "{i}" for instances; a table's instance is the table.
void object_of(ox_str* object, std::string_view path) {
    ox_str_clear(object);
    bool instance = false;
    for (std::string_view component : ox_tr_components(path)) {
        if (instance) ox_str_printf_append(object, ".%s", ANY.data());
        instance = is_any(component);
        if (instance) continue;
        if (ox_str_length(object) > 0) ox_str_add(object, ".");
        ox_str_add_n(object, component.data(), component.size());
    }
}

struct Search {
    ox_str* wanted;
    ox_str* other;  // what a reference names
    ox_str* path;   // of the node that is looked at
    json_t* found;
};

bool is_wanted(Search* search, const char* foreign_key) {
    for (const char* at = foreign_key; *at;) {
        size_t size = strcspn(at, ",");
        object_of(search->other, {at, size});
        if (strcmp(ox_dynarray_get(search->other), ox_dynarray_get(search->wanted)) == 0) return true;
        at += size;
        if (*at) ++at;
    }
    return false;
}

void look_at(Search* search, const json_t* node);

/// Looks at a child by its key; arguments stand right below their method.
void look_below(Search* search, const char* key, const json_t* child) {
    size_t length = ox_str_length(search->path);
    const char* name = strcmp(key, OX_TR_TEMPLATE) == 0 ? ANY.data() : key;
    if (strcmp(key, OX_TR_INPUT) != 0)
        ox_str_printf_append(search->path, "%s%s", length > 0 ? "." : "", name);
    look_at(search, child);
    ox_dynarray_cut(search->path, length, ox_str_length(search->path) - length);
}

void look_at(Search* search, const json_t* node) {
    const json_t* key = json_object_get(json_object_get(node, OX_TR_ATTR), "foreign_key");
    if (json_is_string(key) && is_wanted(search, json_string_value(key)))
        json_array_append_new(search->found, json_string(ox_dynarray_get(search->path)));
    const char* name = nullptr;
    json_t* child = nullptr;
    json_object_foreach(const_cast<json_t*>(node), name, child) {
        if (strcmp(name, OX_TR_ATTR) != 0) look_below(search, name, child);
    }
}

}  // namespace

json_t* ox_tr_referrers_new(const json_t* schema, const char* path) {
    ox_str wanted = {};
    ox_str other = {};
    ox_str at = {};
    object_of(&wanted, path);
    Search search = {&wanted, &other, &at, json_array()};
    if (ox_str_length(&wanted) > 0) look_at(&search, schema);
    wanted.clear();
    other.clear();
    at.clear();
    return search.found;
}
