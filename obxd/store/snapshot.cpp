// Whole configurations: checking a tree of values, applying it, taking one.

#include <string.h>

#include <algorithm>
#include <unordered_set>

#include "impl.hpp"

namespace obxd {
namespace {

struct Checker {
    Impl& impl;
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
            if (strcmp(key, "max_instance") == 0) {
                if (!json_is_integer(value) || json_integer_value(value) < 0 ||
                    json_integer_value(value) > UINT32_MAX)
                    return fail(path + key, "must be 0 to 4294967295");
                continue;
            }
            if (!instance_number(key, number)) return fail(path + key, "is no instance number");
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
            if (schema->ordered && strcmp(key, "order") == 0) {
                if (!json_is_integer(value)) return fail(path + key, "must be an integer");
                continue;
            }
            const Schema* child = schema_child(schema, key);
            if (!child || child->kind == Schema::METHOD)
                return fail(path + key, "the model has no such name");
            std::string why;
            if (child->kind == Schema::OBJECT) {
                if (!object(child, false, value, path + key + ".")) return false;
            } else if (value_check(impl, child, nullptr, value, why) != 0) {
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

    void alias_fill(Node* instance) const {
        const Schema* alias = instance->schema->alias;
        if (!alias || json_string_length(instance->values[alias->slot])) return;
        slot_set(instance, alias, json_string(("cpe-" + std::to_string(instance->number)).c_str()));
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
            const json_t* order = json_object_get(json_object_get(values, key.c_str()), "order");
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
            if (!instance_number(key, number)) continue;
            Node* instance = instance_find(node, number);
            bool fresh = !instance;
            if (fresh && !(instance = grows ? instance_new(node, number) : nullptr)) continue;
            object(instance, value, path + key + ".");
            if (fresh) alias_fill(instance);
        }
        if (!node->instances.empty())
            node->max_instance = std::max(node->max_instance, node->instances.back()->number);
        json_int_t given = json_integer_value(json_object_get(values, "max_instance"));
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

json_t* snapshot_of(const Node* node) {
    JsonRef tree(json_object());
    if (is_table(node)) {
        for (auto& instance : node->instances) {
            json_t* below = snapshot_of(instance.get());
            if (!below && node->schema->writable) below = json_object();
            if (below) json_object_set_new_nocheck(tree, std::to_string(instance->number).c_str(), below);
        }
        if (node->schema->writable)
            json_object_set_new_nocheck(tree, "max_instance", json_integer(node->max_instance));
        return json_object_size(tree) ? tree.release() : nullptr;
    }
    for (const Schema* parameter : node->schema->parameters)
        if (parameter->writable && !parameter->runtime && !parameter->mirrors_order)
            json_object_set_nocheck(tree, parameter->name.c_str(), node->values[parameter->slot]);
    for (auto& below : node->objects)
        if (json_t* value = snapshot_of(below.get()))
            json_object_set_new_nocheck(tree, below->schema->name.c_str(), value);
    if (node->number && node->schema->ordered)
        json_object_set_new_nocheck(tree, "order", json_integer(node->order));
    return json_object_size(tree) ? tree.release() : nullptr;
}

/// The paths of all instances, in the model's order.
void instances_gather(const Node* node, std::string& path, std::vector<std::string>& found) {
    size_t length = path.size();
    for (auto& instance : node->instances) {
        path += std::to_string(instance->number) + ".";
        found.push_back(path);
        instances_gather(instance.get(), path, found);
        path.resize(length);
    }
    for (auto& below : node->objects) {
        path += below->schema->name + ".";
        instances_gather(below.get(), path, found);
        path.resize(length);
    }
}

std::vector<std::string> instances_of(const Impl& impl) {
    std::vector<std::string> found;
    std::string path;
    instances_gather(impl.top.get(), path, found);
    return found;
}

void instance_tell(Impl& impl, Change::Kind kind, const std::string& path) {
    size_t start = path.rfind('.', path.size() - 2) + 1;
    uint32_t number = 0;
    instance_number(std::string_view(path).substr(start, path.size() - 1 - start), number);
    impl.listener({kind, kind == Change::ADD ? path.substr(0, start) : path, number, nullptr});
}

/// What follows from the instances that went and came since `before` was gathered. What holds others is told
/// last when it went and first when it came.
void instances_settle(Impl& impl, const std::vector<std::string>& before) {
    std::vector<std::string> after = instances_of(impl);
    std::unordered_set<std::string_view> had(before.begin(), before.end()), has(after.begin(), after.end());
    std::unordered_set<std::string_view> gone;
    for (const std::string& path : before)
        if (!has.count(path)) gone.insert(path);
    references_forget(impl, gone);
    if (!impl.listener) return;
    for (auto path = before.rbegin(); path != before.rend(); ++path)
        if (gone.count(*path)) instance_tell(impl, Change::DELETE, *path);
    for (const std::string& path : after)
        if (!had.count(path)) instance_tell(impl, Change::ADD, path);
}

bool values_fit(Impl& impl, Node* node, std::string& error) {
    for (auto& instance : node->instances)
        if (!values_fit(impl, instance.get(), error)) return false;
    if (is_table(node)) return true;
    for (const Schema* parameter : node->schema->parameters) {
        std::string why;
        if (value_check(impl, parameter, node, value_read(node, parameter, nullptr), why) == 0) continue;
        error = node_path(node) + parameter->name + ": " + why;
        return false;
    }
    return std::all_of(node->objects.begin(), node->objects.end(),
                       [&](auto& below) { return values_fit(impl, below.get(), error); });
}

}  // namespace

bool tree_check(Impl& impl, const json_t* values, std::string& error) {
    return Checker{impl, error}.object(&impl.root, false, values, "");
}

void tree_apply(Impl& impl, const json_t* values, bool only_config, const std::vector<std::string>& keep) {
    Applier{only_config, keep}.object(impl.top.get(), values, "");
}

json_t* Store::snapshot() {
    json_t* tree = snapshot_of(impl_->top.get());
    return tree ? tree : json_object();
}

bool Store::restore(const json_t* snapshot, std::string& error) {
    if (!tree_check(*impl_, snapshot, error)) return false;
    std::vector<std::string> before = instances_of(*impl_);
    tree_apply(*impl_, snapshot, true, {});
    instances_settle(*impl_, before);
    return true;
}

void Store::reset_defaults(const std::vector<std::string>& keep) {
    std::vector<std::string> before = instances_of(*impl_);
    tree_apply(*impl_, impl_->pristine, false, keep);
    instances_settle(*impl_, before);
}

bool Store::reset_object(std::string_view path) {
    Target target;
    if (!target_find(*impl_, path, target) || !target.is_object() || is_table(target.node)) return false;
    std::string prefix = node_path(target.node);
    std::vector<std::string_view> parts;
    path_split(prefix, parts);
    const json_t* values = impl_->pristine;
    for (std::string_view part : parts) values = json_object_get(values, std::string(part).c_str());
    for (const Schema* parameter : target.node->schema->parameters) {
        if (!parameter->writable || parameter->mirrors_order) continue;
        json_t* given = json_object_get(values, parameter->name.c_str());
        set_value(prefix + parameter->name, json_incref(given ? given : parameter->initial.get()));
    }
    return true;
}

bool Store::validate(std::string& error) {
    return values_fit(*impl_, impl_->top.get(), error) && keys_fit(*impl_, impl_->top.get(), error);
}

}  // namespace obxd
