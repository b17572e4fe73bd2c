// Setting values: all that a request names, or none.

#include <string.h>

#include <algorithm>
#include <set>

#include "impl.hpp"

namespace obxd {
namespace {

/// One value of a request, ready to be applied.
struct Assignment {
    std::string path;
    Target target;
    JsonRef value;
    JsonRef old;
    uint32_t place = 0;  ///< where the instance moves, for what sets its order
};

struct Setter {
    Impl& impl;
    int rank;
    bool raw;
    std::vector<Assignment> assignments;
    JsonRef data;

    void refuse(const std::string& path, int code, const std::string& why) {
        if (!data) data.reset(json_object());
        json_object_set_new(data, path.c_str(),
                            json_pack("{s:i, s:s}", "code", code, "message", why.c_str()));
    }
};

bool moves(const Target& target) {
    return target.pseudo == Pseudo::INDEX || (target.schema && target.schema->mirrors_order);
}

/// Finds what a value is for. An instance of an ordered object stands for its `index`: `order PATH NUMBER` in
/// a script names the instance, because there is no model to look the child up in.
bool assignment_target(Impl& impl, const char* name, Target& target) {
    if (!target_find(impl, name, target)) return false;
    const Node* node = target.node;
    if (!target.schema && target.pseudo == Pseudo::NONE && node->number && node->schema->ordered)
        target.pseudo = Pseudo::INDEX;
    return target.is_parameter();
}

/// Checks everything about one value but what depends on the others.
void assignment_check(Setter& setter, const char* name, json_t* value) {
    Assignment entry;
    entry.path = name;
    if (!assignment_target(setter.impl, name, entry.target))
        return setter.refuse(name, FAULT_INVALID_NAME, "there is no such parameter");
    const Target& target = entry.target;
    bool index = target.pseudo == Pseudo::INDEX;
    const Schema* schema = target.schema ? target.schema : target.node->schema;
    if (!schema->writable || (target.pseudo != Pseudo::NONE && !index))
        return setter.refuse(name, FAULT_NOT_WRITABLE, "is read-only");
    if (setter.rank < schema->write_rank)
        return setter.refuse(name, FAULT_REQUEST_DENIED,
                             std::string("only ") + rank_text(schema->write_rank) + " may set it");
    std::string why;
    JsonRef converted;
    if (setter.raw && json_is_string(value)) {
        uint32_t number;
        int code = 0;
        if (!index)
            code = value_from_text(schema, json_string_value(value), converted, why);
        else if (instance_number(json_string_value(value), number))
            converted.reset(json_integer(number));
        if (code) return setter.refuse(name, code, why);
        if (!converted) return setter.refuse(name, FAULT_INVALID_TYPE, "must be an integer");
        value = converted;
    }
    if (moves(target)) {
        json_int_t count = static_cast<json_int_t>(target.node->parent->instances.size());
        if (!json_is_integer(value)) return setter.refuse(name, FAULT_INVALID_TYPE, "must be an integer");
        if (json_integer_value(value) < 1 || json_integer_value(value) > count)
            return setter.refuse(name, FAULT_INVALID_VALUE, "must be 1 to " + std::to_string(count));
        entry.place = static_cast<uint32_t>(json_integer_value(value));
        entry.value.reset(json_incref(value));
    } else {
        int code = value_check(setter.impl, schema, target.node, value, why);
        if (code) return setter.refuse(name, code, why);
        entry.value.reset(value_normal(schema, value));
    }
    setter.assignments.push_back(std::move(entry));
}

void values_swap(Setter& setter) {
    for (Assignment& entry : setter.assignments) {
        if (entry.place) continue;
        const Target& target = entry.target;
        entry.old.reset(json_incref(target.node->values[target.schema->slot]));
        slot_set(target.node, target.schema, entry.value.release());
    }
}

void values_swap_back(Setter& setter) {
    for (auto entry = setter.assignments.rbegin(); entry != setter.assignments.rend(); ++entry) {
        if (entry->place) continue;
        slot_set(entry->target.node, entry->target.schema, entry->old.release());
    }
}

/// Refuses what gives an instance a unique key that another one has too.
void keys_check(Setter& setter) {
    for (const Assignment& entry : setter.assignments) {
        Node* node = entry.target.node;
        if (entry.place) continue;
        for (uint32_t key : entry.target.schema->looked_up_by) {
            if (key >= node->schema->keys.size()) continue;
            const Node* rival = key_rival(node, key);
            if (!rival) continue;
            setter.refuse(entry.path, FAULT_INVALID_VALUE,
                          "has the same " + key_names(node->schema->keys[key]) + " as " + node_path(rival));
            break;
        }
    }
}

void value_tell(Impl& impl, const std::string& path, json_t* value) {
    if (impl.listener) impl.listener({Change::VALUE, path, 0, value});
}

/// What is told must not hang on the tree: a listener or hook may change it.
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
        Node* node = entry.target.node;
        if (entry.place) {
            uint32_t old = node->order;
            if (old == entry.place) continue;
            instance_move(node, entry.place);
            orders_tell(setter.impl, node->parent, std::min(old, entry.place), std::max(old, entry.place));
            continue;
        }
        const Schema* schema = entry.target.schema;
        if (json_equal(node->values[schema->slot], entry.old)) continue;
        changed_add(changed, entry.path, node, schema);
        if (status_follow(node, schema))
            changed_add(changed, node_path(node) + schema->status->name, node, schema->status);
    }
    for (Told& told : changed) {
        JsonRef shown(told.schema->hidden ? json_string("") : json_incref(told.value));
        value_tell(setter.impl, told.path, shown);
    }
    for (Told& told : changed) hooks_run(told.schema, told.path, told.value);
}

}  // namespace

void orders_tell(Impl& impl, Node* table, uint32_t from, uint32_t to) {
    if (!impl.listener) return;
    for (auto& instance : table->instances) {
        if (instance->order < from || instance->order > to) continue;
        std::string path = node_path(instance.get());
        if (const Schema* mirror = table->schema->order_mirror) {
            value_tell(impl, path + mirror->name, value_read(instance.get(), mirror, nullptr));
        } else {
            JsonRef order(json_integer(instance->order));
            value_tell(impl, path + "order", order);
        }
    }
}

Answer Store::set_values(const Caller& caller, const json_t* params, bool raw) {
    const json_t* list = json_object_get(params, "ParameterList");
    if (!json_is_array(list)) return fault(FAULT_INVALID_ARGUMENTS, "ParameterList is no array");
    Setter setter{*impl_, caller_rank(caller), raw, {}, JsonRef()};
    std::set<std::string_view> names;
    for (size_t i = 0; i < json_array_size(list); i++) {
        json_t* entry = json_array_get(list, i);
        const char* name = json_string_value(json_object_get(entry, "Name"));
        json_t* value = json_object_get(entry, "Value");
        if (!name || !value)
            return fault(FAULT_INVALID_ARGUMENTS, "ParameterList holds what has no Name and Value");
        if (!names.insert(name).second)
            setter.refuse(name, FAULT_INVALID_ARGUMENTS, "is named twice");
        else
            assignment_check(setter, name, value);
    }
    if (!setter.data) {
        values_swap(setter);
        keys_check(setter);
        if (setter.data) values_swap_back(setter);
    }
    if (setter.data) {
        Answer answer = fault(FAULT_INVALID_ARGUMENTS, "nothing was set");
        answer.data = setter.data.release();
        return answer;
    }
    commit(setter);
    Answer answer;
    answer.result = json_object();
    return answer;
}

bool Store::set_value(std::string_view path, json_t* value) {
    JsonRef owned(value);
    Target target;
    if (!value || !target_find(*impl_, path, target) || !target.schema ||
        target.schema->kind != Schema::PARAMETER)
        return false;
    std::string why;
    if (value_check(*impl_, target.schema, nullptr, value, why) != 0) return false;
    JsonRef normal(value_normal(target.schema, value));
    bool changed = !json_equal(target.node->values[target.schema->slot], normal);
    slot_set(target.node, target.schema, json_incref(normal.get()));
    std::string full(path);
    if (changed && !target.schema->hidden) value_tell(*impl_, full, normal);
    return true;
}

}  // namespace obxd
