#include "live.hpp"

#include "ox_tr_path.hpp"
#include "store/pattern.hpp"

namespace obxd {
namespace {

template <typename Entry>
const Entry* entry_of(const Few<Entry>& entries, const std::string& path) {
    for (const Entry& entry : entries)
        if (pattern_matches(entry.pattern, path)) return &entry;
    return nullptr;
}

/// Puts an entry in the place of one for the same path, or behind the others.
template <typename Entry>
void entry_put(Few<Entry>& entries, Entry entry) {
    for (Entry& present : entries) {
        if (present.pattern != entry.pattern) continue;
        present = std::move(entry);
        return;
    }
    entries.push_back(std::move(entry));
}

/// The parameter that a pattern with "*" for instances names.
Schema* pattern_parameter(Model& model, std::string_view pattern) {
    if (!ox_tr_path_is_exact(pattern)) return nullptr;
    Place place = place_of_schema(&model.root);
    for (std::string_view name : ox_tr_components(pattern))
        if (!place_step(place, place_any(name))) return nullptr;
    return place.schema->kind == Schema::PARAMETER ? place.schema : nullptr;
}

void number_keep(Node* node, const Schema* parameter, size_t number) {
    if (json_integer_value(node->values[parameter->slot]) != static_cast<json_int_t>(number))
        slot_set(node, parameter, json_integer(static_cast<json_int_t>(number)));
}

}  // namespace

json_t* value_read(Node* node, const Schema* parameter, const std::string* path) {
    if (parameter->counts) {
        number_keep(node, parameter, node->objects[parameter->counts->slot]->instances.size());
    } else if (parameter->mirrors_order) {
        number_keep(node, parameter, node->order);
    } else if (!parameter->live.empty()) {
        std::string full = path ? *path : node_path(node) + parameter->name;
        const Live* live = entry_of(parameter->live, full);
        json_t* value = live ? live->run(full) : nullptr;
        if (value) slot_set(node, parameter, value);
    }
    return node->values[parameter->slot];
}

json_t* value_nothing(const Schema* parameter) {
    static json_t* const text = json_string("");
    static json_t* const number = json_integer(0);
    static json_t* const real = json_real(0);
    int type = limits_type(*parameter->limits);
    if (type_is_boolean(type)) return json_false();
    if (type_is_integer(type)) return number;
    return type == OX_TR_DECIMAL ? real : text;
}

json_t* value_shown(Node* node, const Schema* parameter, const std::string* path) {
    return parameter->hidden ? value_nothing(parameter) : value_read(node, parameter, path);
}

json_t* place_value(const Place& place, const std::string* path) {
    if (place.pseudo == Pseudo::NONE) return json_incref(value_shown(place.node, place.schema, path));
    bool table = place.pseudo == Pseudo::MAX_INSTANCE;
    return json_integer(table ? place.node->max_instance : place.node->order);
}

void live_set(Model& model, std::string_view path, std::function<json_t*(const std::string&)> reader) {
    if (Schema* schema = pattern_parameter(model, path))
        entry_put(schema->live, Live{std::string(path), std::move(reader)});
}

void hook_set(Model& model, std::string_view path, std::function<void(const std::string&, json_t*)> hook) {
    if (Schema* schema = pattern_parameter(model, path))
        entry_put(schema->hooks, Hook{std::string(path), std::move(hook)});
}

void hooks_run(const Schema* parameter, const std::string& path, json_t* value) {
    if (const Hook* hook = entry_of(parameter->hooks, path)) hook->run(path, value);
}

}  // namespace obxd
