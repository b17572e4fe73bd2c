// Reading values: single ones, lists of them, configuration trees.

#include "impl.hpp"

namespace obxd {
namespace {

template <typename Entry>
const Entry* pattern_match(const std::vector<Entry>& entries, const std::string& path) {
    std::vector<std::string_view> parts;
    if (!path_split(path, parts)) return nullptr;
    for (const Entry& entry : entries) {
        bool same = entry.pattern.size() == parts.size();
        for (size_t i = 0; same && i < parts.size(); i++)
            same = entry.pattern[i] == "*" || entry.pattern[i] == parts[i];
        if (same) return &entry;
    }
    return nullptr;
}

void number_keep(Node* node, const Schema* parameter, size_t number) {
    if (json_integer_value(node->values[parameter->slot]) != static_cast<json_int_t>(number))
        slot_set(node, parameter, json_integer(static_cast<json_int_t>(number)));
}

struct Reader {
    json_t* list;
    int rank;
    bool ignore_denied;
    std::string denied;  ///< the first name that may not be read

    bool admits(int needed, const std::string& name) {
        if (rank >= needed) return true;
        if (!ignore_denied && denied.empty()) denied = name;
        return false;
    }
    void add(const std::string& name, json_t* value) {
        json_t* entry = json_object();
        json_object_set_new_nocheck(entry, "Name", json_stringn_nocheck(name.data(), name.size()));
        json_object_set_new_nocheck(entry, "Value", value);
        json_array_append_new(list, entry);
    }
};

void values_below(Reader& reader, Node* node, std::string& path) {
    size_t length = path.size();
    if (is_table(node)) {
        for (auto& instance : node->instances) {
            path += std::to_string(instance->number);
            path += '.';
            values_below(reader, instance.get(), path);
            path.resize(length);
        }
        return;
    }
    for (auto& child : node->schema->children) {
        if (child->kind == Schema::METHOD) continue;
        path += child->name;
        if (child->kind == Schema::OBJECT) {
            path += '.';
            values_below(reader, node->objects[child->slot].get(), path);
        } else if (reader.admits(child->read_rank, path)) {
            reader.add(path, json_incref(value_shown(node, child.get(), &path)));
        }
        path.resize(length);
    }
}

void values_of(Reader& reader, const Target& target, const std::string& path) {
    if (target.is_object()) {
        std::string prefix = path;
        values_below(reader, target.node, prefix);
    } else if (target.pseudo != Pseudo::NONE) {
        if (reader.admits(target.node->schema->read_rank, path)) reader.add(path, pseudo_value(target));
    } else if (target.schema->kind == Schema::PARAMETER && reader.admits(target.schema->read_rank, path)) {
        reader.add(path, json_incref(value_shown(target.node, target.schema, &path)));
    }
}

}  // namespace

json_t* value_read(Node* node, const Schema* parameter, const std::string* path) {
    if (parameter->counts) {
        number_keep(node, parameter, node->objects[parameter->counts->slot]->instances.size());
    } else if (parameter->mirrors_order) {
        number_keep(node, parameter, node->order);
    } else if (!parameter->live.empty()) {
        std::string full = path ? *path : node_path(node) + parameter->name;
        const Live* live = pattern_match(parameter->live, full);
        json_t* value = live ? live->reader(full) : nullptr;
        if (value) slot_set(node, parameter, value);
    }
    return node->values[parameter->slot];
}

json_t* value_shown(Node* node, const Schema* parameter, const std::string* path) {
    if (!parameter->hidden) return value_read(node, parameter, path);
    static json_t* const nothing = json_string("");
    return nothing;
}

json_t* pseudo_value(const Target& target) {
    if (target.pseudo == Pseudo::MAX_INSTANCE) return json_integer(target.node->max_instance);
    return json_integer(target.node->order);
}

json_t* config_tree(Node* node, int rank, const std::string& path) {
    json_t* tree = json_object();
    const Schema* schema = node->schema;
    if (is_table(node)) {
        for (auto& instance : node->instances) {
            std::string number = std::to_string(instance->number);
            json_object_set_new_nocheck(tree, number.c_str(),
                                        config_tree(instance.get(), rank, path + number + "."));
        }
        if (rank >= schema->read_rank)
            json_object_set_new_nocheck(tree, "max_instance", json_integer(node->max_instance));
        return tree;
    }
    for (auto& child : schema->children) {
        if (child->kind == Schema::METHOD) continue;
        std::string name = path + child->name;
        if (child->kind == Schema::OBJECT) {
            json_t* below = config_tree(node->objects[child->slot].get(), rank, name + ".");
            json_object_set_new_nocheck(tree, child->name.c_str(), below);
        } else if (rank >= child->read_rank) {
            json_object_set_nocheck(tree, child->name.c_str(), value_shown(node, child.get(), &name));
        }
    }
    if (schema->ordered && rank >= schema->read_rank)
        json_object_set_new_nocheck(tree, "order", json_integer(node->order));
    return tree;
}

json_t* config_parent(json_t* tree, const std::string& path, std::string& leaf) {
    std::vector<std::string_view> parts;
    path_split(path, parts);
    for (size_t i = 0; i + 1 < parts.size(); i++) {
        std::string key(parts[i]);
        json_t* next = json_object_get(tree, key.c_str());
        if (!next) json_object_set_new_nocheck(tree, key.c_str(), next = json_object());
        tree = next;
    }
    leaf = parts.empty() ? std::string_view() : parts.back();
    return tree;
}

Answer Store::get_values(const Caller& caller, const json_t* params) {
    const json_t* names = json_object_get(params, "ParameterNames");
    if (!json_is_array(names)) return fault(FAULT_INVALID_ARGUMENTS, "ParameterNames is no array");
    bool ignore = json_is_true(json_object_get(params, "IgnoreAccessError"));
    JsonRef list(json_array());
    Reader reader{list, caller_rank(caller), ignore, {}};
    size_t count = json_array_size(names);
    for (size_t i = 0; i < count; i++) {
        const char* name = json_string_value(json_array_get(names, i));
        if (!name) return fault(FAULT_INVALID_ARGUMENTS, "ParameterNames holds what is no text");
        bool method = false;
        bool found = target_each(*impl_, name, [&](const Target& target, const std::string& path) {
            method |= target.schema && target.schema->kind == Schema::METHOD;
            values_of(reader, target, path);
        });
        if (!found || method) return fault(FAULT_INVALID_NAME, name);
        if (!reader.denied.empty()) return fault(FAULT_REQUEST_DENIED, reader.denied);
    }
    Answer answer;
    answer.result = json_pack("{s:o}", "ParameterList", list.release());
    return answer;
}

Answer Store::get_config(const Caller& caller, const json_t* params) {
    const char* name = json_string_value(json_object_get(params, "Path"));
    if (!name) return fault(FAULT_INVALID_ARGUMENTS, "Path is no text");
    int rank = caller_rank(caller);
    JsonRef tree(json_object());
    Answer refused;
    auto put = [&](const Target& target, const std::string& path) {
        std::string leaf;
        if (target.is_object()) {
            json_t* below = config_tree(target.node, rank, path);
            json_t* parent = config_parent(tree, path, leaf);
            if (leaf.empty())
                tree.reset(below);
            else
                json_object_set_new_nocheck(parent, leaf.c_str(), below);
            return;
        }
        const Schema* schema = target.schema ? target.schema : target.node->schema;
        if (schema->kind == Schema::METHOD)
            refused = fault(FAULT_INVALID_NAME, path);
        else if (rank < schema->read_rank)
            refused = fault(FAULT_REQUEST_DENIED, path);
        if (refused.code) return;
        json_t* value = target.schema ? json_incref(value_shown(target.node, target.schema, &path))
                                      : pseudo_value(target);
        json_t* parent = config_parent(tree, path, leaf);
        json_object_set_new_nocheck(parent, leaf.c_str(), value);
    };
    // A path that does not exist is answered as its nearest ancestor that does.
    std::string nearest = name;
    bool found = target_each(*impl_, nearest, put);
    while (!found && path_climb(nearest)) found = target_each(*impl_, nearest, put);
    if (!found) return fault(FAULT_INVALID_NAME, name);
    if (refused.code) return refused;
    Answer answer;
    answer.result = json_pack("{s:o}", "Config", tree.release());
    return answer;
}

json_t* Store::value(std::string_view path) {
    Target target;
    if (!target_find(*impl_, path, target)) return nullptr;
    if (!target.schema || target.schema->kind != Schema::PARAMETER) return nullptr;
    return value_read(target.node, target.schema, nullptr);
}

std::vector<uint32_t> Store::instances(std::string_view object) {
    std::vector<uint32_t> numbers;
    Target target;
    if (!target_find(*impl_, object, target) || !target.is_object() || !is_table(target.node)) return numbers;
    for (auto& instance : target.node->instances) numbers.push_back(instance->number);
    return numbers;
}

/// The parameter that a pattern with "*" for instances names.
static Schema* pattern_schema(Impl& impl, std::string_view path, std::vector<std::string>& pattern) {
    std::vector<std::string_view> parts;
    if (!path_split(path, parts)) return nullptr;
    Schema* schema = &impl.root;
    bool item = false;
    for (std::string_view part : parts) {
        pattern.emplace_back(part);
        if (schema->multi && !item) {
            item = true;
            continue;
        }
        schema = schema_child(schema, part);
        if (!schema) return nullptr;
        item = false;
    }
    return schema->kind == Schema::PARAMETER ? schema : nullptr;
}

/// Puts an entry in the place of one for the same path, or behind the others.
template <typename Entry>
static void pattern_put(std::vector<Entry>& entries, Entry entry) {
    for (Entry& present : entries) {
        if (present.pattern != entry.pattern) continue;
        present = std::move(entry);
        return;
    }
    entries.push_back(std::move(entry));
}

void Store::set_live(std::string_view path, std::function<json_t*(const std::string& path)> reader) {
    Live live;
    Schema* schema = pattern_schema(*impl_, path, live.pattern);
    if (!schema) return;
    live.reader = std::move(reader);
    pattern_put(schema->live, std::move(live));
}

void Store::set_hook(std::string_view path,
                     std::function<void(const std::string& path, json_t* value)> hook) {
    Hook entry;
    Schema* schema = pattern_schema(*impl_, path, entry.pattern);
    if (!schema) return;
    entry.run = std::move(hook);
    pattern_put(schema->hooks, std::move(entry));
}

void hooks_run(const Schema* parameter, const std::string& path, json_t* value) {
    if (const Hook* hook = pattern_match(parameter->hooks, path)) hook->run(path, value);
}

}  // namespace obxd
