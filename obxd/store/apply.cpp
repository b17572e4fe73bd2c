#include "apply.hpp"

#include <string.h>

#include <algorithm>

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "store/lookups.hpp"
#include "store/ties.hpp"
#include "store/value_check.hpp"
#include "store/value_form.hpp"

namespace obxd {
namespace {

struct Checker {
    Model& model;
    std::string& error;

    bool fail(const std::string& path, const std::string& text) {
        error = (path.empty() ? "." : path) + ": " + text;
        return false;
    }

    bool table(const Schema* schema, const json_t* values, const std::string& path) {
        const char* key;
        json_t* value;
        size_t count = 0;
        json_object_foreach(const_cast<json_t*>(values), key, value) {
            uint32_t number;
            if (strcmp(key, OX_TR_MAX_INSTANCE) == 0) {
                if (!json_is_integer(value) || json_integer_value(value) < 0 ||
                    json_integer_value(value) > UINT32_MAX)
                    return fail(path + key, "must be 0 to 4294967295");
                continue;
            }
            if (!ox_tr_instance_number(key, &number)) return fail(path + key, "is no instance number");
            if (++count > schema->max_count) return fail(path, "holds too many instances");
            if (!object(schema, true, value, path + key + ".")) return false;
        }
        return true;
    }

    bool object(const Schema* schema, bool item, const json_t* values, const std::string& path) {
        if (!json_is_object(values)) return fail(path, "must be a JSON object");
        if (schema->multi && !item) return table(schema, values, path);
        const char* key;
        json_t* value;
        json_object_foreach(const_cast<json_t*>(values), key, value) {
            if (schema->ordered && strcmp(key, OX_TR_ORDER) == 0) {
                if (!json_is_integer(value)) return fail(path + key, "must be an integer");
                continue;
            }
            const Schema* child = schema_child(schema, key);
            if (!child || child->kind == Schema::METHOD)
                return fail(path + key, "the model has no such name");
            std::string why;
            if (child->kind == Schema::OBJECT) {
                if (!object(child, false, value, path + key + ".")) return false;
            } else if (value_check(model, child, nullptr, value, why) != 0) {
                return fail(path + key, why);
            }
        }
        return true;
    }
};

struct Applier {
    bool only_config;
    const std::vector<std::string>& keep;

    bool kept(std::string_view path) const {
        if (!path.empty() && path.back() == '.') path.remove_suffix(1);
        return std::any_of(keep.begin(), keep.end(), [path](std::string_view name) {
            if (!name.empty() && name.back() == '.') name.remove_suffix(1);
            return name == path;
        });
    }

    /// The device takes notice of what changes.
    void value_restore(Node* node, const Schema* parameter, json_t* value) const {
        bool same = json_equal(node->values[parameter->slot], value);
        slot_set(node, parameter, value_normal(parameter, value));
        if (!same) status_follow(node, parameter);
    }

    void orders_assign(Node* node, const json_t* values) const {
        std::vector<std::pair<json_int_t, Node*>> places;
        for (auto& instance : node->instances) {
            std::string key = std::to_string(instance->number);
            const json_t* order = json_object_get(json_object_get(values, key.c_str()), OX_TR_ORDER);
            places.emplace_back(order ? json_integer_value(order) : INT64_MAX, instance.get());
        }
        std::stable_sort(places.begin(), places.end(), [](auto& a, auto& b) { return a.first < b.first; });
        uint32_t place = 0;
        for (auto& [order, instance] : places) instance->order = ++place;
    }

    void table(Node* node, const json_t* values, const std::string& path) const {
        bool grows = !only_config || node->schema->writable;
        if (grows) {
            std::erase_if(node->instances, [values](const std::unique_ptr<Node>& instance) {
                bool stays = json_object_get(values, std::to_string(instance->number).c_str()) != nullptr;
                if (!stays) lookups_leave(instance.get(), nullptr);
                return !stays;
            });
            if (!only_config) node->max_instance = 0;
        }
        const char* key;
        json_t* value;
        json_object_foreach(const_cast<json_t*>(values), key, value) {
            uint32_t number;
            if (!ox_tr_instance_number(key, &number)) continue;
            Node* instance = instance_find(node, number);
            bool fresh = !instance;
            if (fresh && !(instance = grows ? instance_new(node, number) : nullptr)) continue;
            object(instance, value, path + key + ".");
            if (fresh) alias_fill(instance);
        }
        if (!node->instances.empty())
            node->max_instance = std::max(node->max_instance, node->instances.back()->number);
        json_int_t given = json_integer_value(json_object_get(values, OX_TR_MAX_INSTANCE));
        node->max_instance = std::max(node->max_instance, static_cast<uint32_t>(given));
        if (node->schema->ordered) orders_assign(node, values);
    }

    void object(Node* node, const json_t* values, const std::string& path) const {
        if (!keep.empty() && kept(path)) return;
        if (is_table(node)) return table(node, values, path);
        for (const Schema* parameter : node->schema->parameters) {
            if (parameter->counts || parameter->mirrors_order || (only_config && !parameter->writable))
                continue;
            if (!keep.empty() && kept(path + parameter->name)) continue;
            json_t* value = json_object_get(values, parameter->name.c_str());
            if (value && only_config)
                value_restore(node, parameter, value);
            else if (value)
                slot_set(node, parameter, value_normal(parameter, value));
            else if (!only_config)
                slot_set(node, parameter, json_incref(parameter->initial.get()));
        }
        for (auto& below : node->objects) {
            const std::string& name = below->schema->name;
            const json_t* value = json_object_get(values, name.c_str());
            if (value || !only_config) object(below.get(), value, path + name + ".");
        }
        if (!only_config && node->number) alias_fill(node);
    }
};

}  // namespace

bool tree_check(Model& model, const json_t* values, std::string& error) {
    return Checker{model, error}.object(&model.root, false, values, "");
}

void tree_apply(Model& model, const json_t* values, bool only_config, const std::vector<std::string>& keep) {
    Applier{only_config, keep}.object(model.top.get(), values, "");
}

}  // namespace obxd
