#include "place_attrs.hpp"

#include <algorithm>

#include "ox_tr_names.hpp"
#include "store/live.hpp"
#include "store/scopes.hpp"
#include "store/ties.hpp"
#include "store/value_text.hpp"
#include "store/wire_attrs.hpp"

namespace obxd {
namespace {

/// The choices of an enumerationRef: the items of the parameter that it names. Null where there are none.
json_t* choices_of(Model& model, const Place& place) {
    const Limits& limits = *place.schema->limits;
    std::string from = scope_path(place.schema->parent, place.node, limits.from);
    Place source;
    if (!parameter_find(model, from, source)) return nullptr;
    // Who may not read them is not told them here.
    if (source.schema->hidden || source.schema->read_rank > place.schema->read_rank) return nullptr;
    const char* text = json_string_value(value_read(source.node, source.schema, &from));
    json_t* choices = json_array();
    for (std::string_view item : list_items(text ? text : ""))
        if (!item.empty()) json_array_append_new(choices, json_stringn(item.data(), item.size()));
    if (limits.null_value && !limits.null_value->empty())
        json_array_append_new(choices, json_string(limits.null_value->c_str()));
    return choices;
}

/// Whether a relative target leads through the instance that the reference stands in. Without a text made,
/// for this is asked of each reference of a large table.
bool stays_in_row(const Schema* object, std::string_view target) {
    if (target.empty() || target[0] == '.') return false;
    size_t up = std::min(target.find_first_not_of('#'), target.size());
    for (size_t i = 0; i < up && object; i++) object = object->parent;
    if (!up) {
        const Schema* root = object;
        while (root->parent) root = root->parent;
        std::string_view first = target.substr(0, target.find('.'));
        if (schema_child(root, first) && !schema_child(object, first)) return false;
    }
    while (object && !object->multi) object = object->parent;
    return object != nullptr;
}

/// Where the reference may lead from this very instance, where that is less than from any; else "".
std::string foreign_key_of(const Place& place) {
    const Schema* object = place.schema->parent;
    const std::vector<std::string>& targets = place.schema->limits->targets;
    std::string own;
    if (std::none_of(targets.begin(), targets.end(),
                     [object](const std::string& target) { return stays_in_row(object, target); }))
        return own;
    for (const std::string& target : targets)
        own += (own.empty() ? "" : ",") + scope_path(object, place.node, target) + ".";
    return own;
}

json_t* keys_of(const Schema* table) {
    json_t* keys = json_array();
    for (const Key& key : table->keys) {
        json_t* names = json_array();
        for (const Schema* member : key.members)
            json_array_append_new(names, json_string(member->name.c_str()));
        json_array_append_new(keys, names);
    }
    return keys;
}

}  // namespace

json_t* attrs_shared(const Model& model, const Place& place) {
    switch (place.pseudo) {
        case Pseudo::MAX_INSTANCE:
            return model.max_attrs;
        case Pseudo::ORDER:
            return model.order_attrs;
        case Pseudo::INDEX:
            return model.index_attrs;
        case Pseudo::NONE:
            break;
    }
    return place.item ? place.schema->item_attrs : place.schema->attrs;
}

JsonRef attrs_own(Model& model, const Place& place) {
    JsonRef own;
    const Schema* schema = place.schema;
    if (schema->kind != Schema::PARAMETER || place.pseudo != Pseudo::NONE || !place.node) return own;
    auto change = [&](const char* name, json_t* value) {
        if (!own) own.reset(json_copy(schema->attrs));
        json_object_set_new(own, name, value);
    };
    const Limits& limits = *schema->limits;
    if (!limits.from.empty())
        if (json_t* choices = choices_of(model, place)) change("enum", choices);
    std::string targets = foreign_key_of(place);
    if (!targets.empty()) change("foreign_key", json_string(targets.c_str()));
    if (is_spent(place.node, schema)) {
        change("access", json_string(READ_ONLY));
        std::string perms = perms_text(schema, false);
        change("perms", json_string(perms.c_str()));
        change("const", json_true());
    }
    return own;
}

JsonRef attrs_detailed(Model& model, const Place& place) {
    JsonRef attrs = attrs_own(model, place);
    if (!attrs) attrs.reset(json_copy(attrs_shared(model, place)));
    const Schema* schema = place.schema;
    if (place.pseudo != Pseudo::NONE) return attrs;
    auto add = [&](const char* name, const char* text) {
        if (text) json_object_set_new(attrs, name, json_string(text));
    };
    add("description", schema->description);
    add("units", schema->units);
    add("since", schema->since);
    if (schema->status != Status::CURRENT) add("status", status_text(schema->status));
    if (schema->limits) {
        json_t* ranges = ranges_json(*schema->limits);
        if (ranges) json_object_set_new(attrs, "ranges", ranges);
    }
    if (schema->multi && !schema->keys.empty()) json_object_set_new(attrs, "keys", keys_of(schema));
    return attrs;
}

}  // namespace obxd
