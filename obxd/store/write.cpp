#include "write.hpp"

#include <algorithm>
#include <set>

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "store/keys.hpp"
#include "store/live.hpp"
#include "store/params.hpp"
#include "store/tell.hpp"
#include "store/ties.hpp"
#include "store/undo.hpp"
#include "store/value_check.hpp"
#include "store/value_form.hpp"

namespace obxd {
namespace {

/// One value of a request, ready to be applied.
struct Assignment {
    std::string path;
    Place place;
    JsonRef value;
    JsonRef old;
    uint32_t position = 0;  ///< where the instance moves, for what sets its order
};

struct Setter {
    Model& model;
    int rank;
    const Setting& how;
    std::vector<Assignment> assignments;
    JsonRef data;  ///< why values are refused

    void refuse(const std::string& path, int code, const std::string& why) {
        obxd::refuse(data, path.c_str(), code, why);
    }
};

/// Finds what a value is for. An instance of an ordered object stands for its `index`: `order PATH NUMBER` in
/// a script names the instance, because there is no model to look the child up in.
bool assignment_place(Model& model, const std::string& name, Place& place) {
    if (!place_find(model, name, place)) return false;
    if (place.is_instance() && place.schema->ordered) place.pseudo = Pseudo::INDEX;
    return place.is_parameter();
}

/// The value that a text stands for: 0, or the fault code.
int raw_convert(const Place& place, const char* text, JsonRef& value, std::string& why) {
    if (place.pseudo == Pseudo::NONE) return value_from_text(place.schema, text, value, why);
    uint32_t number;
    if (ox_tr_instance_number(text, &number)) value.reset(json_integer(number));
    return 0;
}

/// Checks where an instance is to move: 0, or the fault code.
int position_check(const Place& place, const json_t* value, uint32_t& position, std::string& why) {
    json_int_t count = static_cast<json_int_t>(place.node->parent->instances.size());
    if (!json_is_integer(value)) {
        why = std::string("must be ") + type_text(OX_TR_INT);
        return FAULT_INVALID_TYPE;
    }
    if (json_integer_value(value) < 1 || json_integer_value(value) > count) {
        why = "must be 1 to " + std::to_string(count);
        return FAULT_INVALID_VALUE;
    }
    position = static_cast<uint32_t>(json_integer_value(value));
    return 0;
}

/// Checks everything about one value but what depends on the others.
void assignment_check(Setter& setter, const char* name, json_t* value) {
    Assignment entry;
    entry.path = setter.how.row + name;
    if (!assignment_place(setter.model, entry.path, entry.place))
        return setter.refuse(name, FAULT_INVALID_NAME, "there is no such parameter");
    const Place& place = entry.place;
    const Schema* schema = place.schema;
    if (!schema->writable || (place.pseudo != Pseudo::NONE && place.pseudo != Pseudo::INDEX))
        return setter.refuse(name, FAULT_NOT_WRITABLE, "is read-only");
    if (is_spent(place.node, schema) && !json_equal(value, place.node->values[schema->slot]))
        return setter.refuse(name, FAULT_NOT_WRITABLE, "was set before, and can be set once only");
    if (setter.rank < schema->write_rank)
        return setter.refuse(name, FAULT_REQUEST_DENIED,
                             std::string("only ") + rank_text(schema->write_rank) + " may set it");
    std::string why;
    JsonRef converted;
    if (setter.how.raw && json_is_string(value)) {
        int code = raw_convert(place, json_string_value(value), converted, why);
        if (code) return setter.refuse(name, code, why);
        if (converted) value = converted;
    }
    int code = place.is_position() ? position_check(place, value, entry.position, why)
                                   : value_check(setter.model, schema, place.node, value, why, true);
    if (code) return setter.refuse(name, code, why);
    entry.value.reset(entry.position ? json_incref(value) : value_normal(schema, value));
    setter.assignments.push_back(std::move(entry));
}

void values_swap(Setter& setter) {
    for (Assignment& entry : setter.assignments) {
        if (entry.position) continue;
        const Place& place = entry.place;
        entry.old.reset(json_incref(place.node->values[place.schema->slot]));
        slot_set(place.node, place.schema, entry.value.release());
    }
}

void values_swap_back(Setter& setter) {
    for (auto entry = setter.assignments.rbegin(); entry != setter.assignments.rend(); ++entry) {
        if (entry->position) continue;
        slot_set(entry->place.node, entry->place.schema, entry->old.release());
    }
}

/// Refuses what gives an instance a unique key that another one has too.
void keys_check(Setter& setter) {
    for (const Assignment& entry : setter.assignments) {
        Node* node = entry.place.node;
        if (entry.position) continue;
        for (uint32_t key : entry.place.schema->looked_up_by) {
            if (key >= node->schema->keys.size()) continue;
            const Node* rival = key_rival(node, key);
            if (!rival) continue;
            setter.refuse(
                entry.path.substr(setter.how.row.size()), FAULT_INVALID_VALUE,
                "has the same " + key_names(node->schema->keys[key].members) + " as " + node_path(rival));
            break;
        }
    }
}

/// A change to be told. It refers to no node of the tree, since a listener or hook may change the tree.
struct Told {
    std::string path;
    const Schema* schema;
    JsonRef value;
};

void changed_add(std::vector<Told>& changed, const std::string& path, const Node* node,
                 const Schema* schema) {
    changed.push_back({path, schema, JsonRef(json_incref(node->values[schema->slot]))});
}

void commit(Setter& setter) {
    std::vector<Told> changed;
    for (Assignment& entry : setter.assignments) {
        Node* node = entry.place.node;
        if (entry.position) {
            uint32_t old = node->order;
            undo_moved(setter.model, node->parent);
            if (old == entry.position) continue;
            instance_move(node, entry.position);
            orders_tell(setter.model, node->parent, std::min(old, entry.position),
                        std::max(old, entry.position));
            continue;
        }
        const Schema* schema = entry.place.schema;
        undo_value(setter.model, node, schema, entry.old);
        if (json_equal(node->values[schema->slot], entry.old)) continue;
        changed_add(changed, entry.path, node, schema);
        if (status_follow(node, schema))
            changed_add(changed, node_path(node) + schema->follower->name, node, schema->follower);
    }
    for (Told& told : changed) {
        JsonRef shown(json_incref(told.schema->hidden ? value_nothing(told.schema) : told.value));
        value_tell(setter.model, told.path, shown);
    }
    for (Told& told : changed) hooks_run(told.schema, told.path, told.value);
}

/// Whether what the values were before can be noted, so that they can be taken back.
bool has_room(const Setter& setter) {
    size_t size = 0;
    for (const Assignment& entry : setter.assignments)
        size += undo_size(entry.old) + entry.path.size() +
                (entry.position ? entry.place.node->parent->instances.size() * sizeof(uint32_t) : 0);
    return undo_has_room(setter.model, size);
}

/// Takes in the values of the list. A fault where it is none, or code 0.
Answer assignments_take(Setter& setter, const json_t* list) {
    std::set<std::string_view> names;
    for (size_t i = 0; i < json_array_size(list); i++) {
        json_t* entry = json_array_get(list, i);
        const char* name = json_string_value(json_object_get(entry, OX_TR_NAME));
        json_t* value = json_object_get(entry, OX_TR_VALUE);
        if (!name || !value)
            return answer_fault(FAULT_INVALID_ARGUMENTS, "ParameterList holds what has no Name and Value");
        if (!names.insert(name).second)
            setter.refuse(name, FAULT_INVALID_ARGUMENTS, "is named twice");
        else if (!*name)
            setter.refuse(name, FAULT_INVALID_NAME, "there is no such parameter");
        else
            assignment_check(setter, name, value);
    }
    return {};
}

}  // namespace

Answer values_apply(Model& model, const Caller& caller, const json_t* list, const Setting& how) {
    Setter setter{model, caller_rank(caller), how, {}, JsonRef()};
    Answer refused = assignments_take(setter, list);
    if (refused.code) return refused;
    bool room = true;
    if (!setter.data) {
        values_swap(setter);
        keys_check(setter);
        room = has_room(setter);
        if (setter.data || how.dry || !room) values_swap_back(setter);
    }
    if (setter.data)
        return answer_refused(std::move(setter.data),
                              how.row.empty() ? "nothing was set" : "nothing was added");
    if (!room) return answer_fault(FAULT_RESOURCES, UNDO_FULL);
    if (how.dry) return answer_result();
    if (how.accepted) how.accepted();
    commit(setter);
    return answer_result();
}

Answer values_set(Model& model, const Caller& caller, const json_t* params, bool raw) {
    Answer refused;
    Setting how{raw, false, "", nullptr};
    const json_t* list = param_list(params, refused);
    if (!list || !param_dry_run(params, how.dry, refused)) return refused;
    return values_apply(model, caller, list, how);
}

bool value_set(Model& model, std::string_view path, json_t* value) {
    JsonRef owned(value);
    Place place;
    if (!value || !parameter_find(model, path, place)) return false;
    std::string why;
    if (value_check(model, place.schema, nullptr, value, why) != 0) return false;
    JsonRef normal(value_normal(place.schema, value));
    json_t* before = place.node->values[place.schema->slot];
    bool changed = !json_equal(before, normal);
    if (changed && place.schema->writable) undo_value(model, place.node, place.schema, before);
    slot_set(place.node, place.schema, json_incref(normal.get()));
    if (changed && !place.schema->hidden) value_tell(model, std::string(path), normal);
    return true;
}

bool object_reset(Model& model, std::string_view path) {
    Place place;
    if (!place_find(model, path, place) || !place.is_object() || place.is_table()) return false;
    std::string prefix = node_path(place.node);
    const json_t* values = model.pristine;
    for (std::string_view name : ox_tr_components(prefix))
        values = json_object_get(values, std::string(name).c_str());
    for (const Schema* parameter : place.schema->parameters) {
        if (!parameter->writable || parameter->mirrors_order) continue;
        json_t* given = json_object_get(values, parameter->name.c_str());
        value_set(model, prefix + parameter->name, json_incref(given ? given : parameter->initial.get()));
    }
    return true;
}

}  // namespace obxd
