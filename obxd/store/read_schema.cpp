// Reading the schema: names, attributes, the data model as one object.

#include <string.h>

#include "impl.hpp"

namespace obxd {
namespace {

json_t* target_attrs(Impl& impl, const SchemaTarget& target) {
    switch (target.pseudo) {
        case Pseudo::MAX_INSTANCE:
            return impl.max_attrs;
        case Pseudo::ORDER:
            return impl.order_attrs;
        case Pseudo::INDEX:
            return impl.index_attrs;
        case Pseudo::NONE:
            break;
    }
    return target.item ? target.schema->item_attrs : target.schema->attrs;
}

struct Lister {
    Impl& impl;
    json_t* list;

    void add(const std::string& name, json_t* attrs) {
        json_t* entry = json_object();
        json_object_set_new_nocheck(entry, "Name", json_stringn_nocheck(name.data(), name.size()));
        json_object_set_nocheck(entry, "Attributes", attrs);
        json_array_append_new(list, entry);
    }
};

/// `node` is the object's own one, or null where there are no instances.
void attributes_below(Lister& lister, const Schema* schema, bool item, const Node* node, std::string& path,
                      int level) {
    if (level == 0) return;
    int deeper = level < 0 ? level : level - 1;
    size_t length = path.size();
    auto leaf = [&](const char* name, json_t* attrs) {
        path += name;
        lister.add(path, attrs);
        path.resize(length);
    };
    if (schema->multi && !item) {
        auto instance = [&](const std::string& name, const Node* place) {
            path += name;
            path += '.';
            lister.add(path, schema->item_attrs);
            attributes_below(lister, schema, true, place, path, deeper);
            path.resize(length);
        };
        instance("#template", nullptr);
        if (!schema->argument) leaf("max_instance", lister.impl.max_attrs);
        if (!node) return;
        for (auto& place : node->instances) instance(std::to_string(place->number), place.get());
        return;
    }
    if (schema->input) {
        path += ".#input.";
        lister.add(path, schema->input->attrs);
        attributes_below(lister, schema->input.get(), false, nullptr, path, deeper);
        path.resize(length);
    }
    for (auto& child : schema->children) {
        path += child->name;
        if (child->kind == Schema::OBJECT) path += '.';
        lister.add(path, child->attrs);
        const Node* below =
            node && child->kind == Schema::OBJECT ? node->objects[child->slot].get() : nullptr;
        attributes_below(lister, child.get(), false, below, path, deeper);
        path.resize(length);
    }
    if (!schema->ordered) return;
    leaf("order", lister.impl.order_attrs);
    leaf("index", lister.impl.index_attrs);
}

json_t* model_node(json_t* attrs) {
    json_t* node = json_object();
    json_object_set_nocheck(node, "#attr", attrs);
    return node;
}

json_t* model_tree(Impl& impl, const Schema* schema, bool item, int level) {
    json_t* tree = model_node(item ? schema->item_attrs : schema->attrs);
    if (level == 0) return tree;
    int deeper = level < 0 ? level : level - 1;
    if (schema->multi && !item) {
        json_object_set_new_nocheck(tree, "#template", model_tree(impl, schema, true, deeper));
        if (!schema->argument) json_object_set_new_nocheck(tree, "max_instance", model_node(impl.max_attrs));
        return tree;
    }
    if (schema->input)
        json_object_set_new_nocheck(tree, "#input", model_tree(impl, schema->input.get(), false, deeper));
    for (auto& child : schema->children)
        json_object_set_new_nocheck(tree, child->name.c_str(), model_tree(impl, child.get(), false, deeper));
    if (schema->ordered) {
        json_object_set_new_nocheck(tree, "order", model_node(impl.order_attrs));
        json_object_set_new_nocheck(tree, "index", model_node(impl.index_attrs));
    }
    return tree;
}

/// The member of that name, made with its attributes where it is missing.
json_t* model_step(json_t* parent, const char* key, json_t* attrs) {
    json_t* node = json_object_get(parent, key);
    if (node) return node;
    node = model_node(attrs);
    json_object_set_new_nocheck(parent, key, node);
    return node;
}

/// The place of an object or instance inside the answer, made with all above it.
json_t* model_place(json_t* root, const Schema* schema, bool item) {
    if (item) return model_step(model_place(root, schema, false), "#template", schema->item_attrs);
    if (!schema->parent) return root;
    json_t* parent = model_place(root, schema->parent, schema->parent->multi);
    return model_step(parent, schema->name.c_str(), schema->attrs);
}

void model_merge(json_t* into, json_t* from) {
    const char* key;
    json_t* value;
    json_object_foreach(from, key, value) {
        json_t* present = strcmp(key, "#attr") == 0 ? nullptr : json_object_get(into, key);
        if (present)
            model_merge(present, value);
        else
            json_object_set_nocheck(into, key, value);
    }
}

const char* pseudo_name(Pseudo pseudo) {
    if (pseudo == Pseudo::MAX_INSTANCE) return "max_instance";
    return pseudo == Pseudo::ORDER ? "order" : "index";
}

struct Names {
    json_t* list;
    int rank;

    void add(const std::string& name, const Schema* schema, bool writable) {
        json_t* entry = json_object();
        json_object_set_new_nocheck(entry, "Name", json_stringn_nocheck(name.data(), name.size()));
        json_object_set_new_nocheck(entry, "Writable", json_boolean(writable && rank >= schema->write_rank));
        json_array_append_new(list, entry);
    }
};

void names_below(Names& names, Node* node, std::string& path, bool deep) {
    size_t length = path.size();
    if (is_table(node)) {
        for (auto& instance : node->instances) {
            path += std::to_string(instance->number);
            path += '.';
            names.add(path, node->schema, node->schema->writable);
            if (deep) names_below(names, instance.get(), path, deep);
            path.resize(length);
        }
        return;
    }
    for (auto& child : node->schema->children) {
        path += child->name;
        if (child->kind == Schema::OBJECT) {
            path += '.';
            names.add(path, child.get(), child->writable && child->multi);
            if (deep) names_below(names, node->objects[child->slot].get(), path, deep);
        } else {
            names.add(path, child.get(), child->kind == Schema::PARAMETER && child->writable);
        }
        path.resize(length);
    }
}

bool level_read(const json_t* params, int& level) {
    const json_t* given = json_object_get(params, "Level");
    level = -1;
    if (!given) return true;
    if (!json_is_integer(given)) return false;
    json_int_t value = json_integer_value(given);
    if (value < -1 || value > 1) return false;
    level = static_cast<int>(value);
    return true;
}

/// What a name in the schema stands for: itself, or with `nearest` its nearest ancestor that exists.
bool name_find(Impl& impl, const char* name, bool nearest, SchemaTarget& target) {
    if (schema_find(impl, name, target)) return true;
    std::string path = name;
    while (nearest && path_climb(path)) {
        if (schema_find(impl, path, target)) return true;
    }
    return false;
}

enum class Missing { FAULT, NEAREST };

/// Goes through ParameterNames. The fault, or code 0. A selector's path, which is answered as far as it
/// exists, may begin with ":".
Answer each_name(Impl& impl, const json_t* params, Missing missing,
                 const std::function<Answer(const SchemaTarget&)>& visit) {
    bool nearest = missing == Missing::NEAREST;
    const json_t* names = json_object_get(params, "ParameterNames");
    if (!json_is_array(names)) return fault(FAULT_INVALID_ARGUMENTS, "ParameterNames is no array");
    size_t count = json_array_size(names);
    for (size_t i = 0; i < count; i++) {
        const char* name = json_string_value(json_array_get(names, i));
        if (!name) return fault(FAULT_INVALID_ARGUMENTS, "ParameterNames holds what is no text");
        if (nearest && *name == ':') name++;
        SchemaTarget target;
        if (!name_find(impl, name, nearest, target)) return fault(FAULT_INVALID_NAME, name);
        Answer answer = visit(target);
        if (answer.code) return answer;
    }
    return {};
}

}  // namespace

Answer Store::get_names(const Caller& caller, const json_t* params) {
    const char* name = json_string_value(json_object_get(params, "ParameterPath"));
    if (!name) return fault(FAULT_INVALID_ARGUMENTS, "ParameterPath is no text");
    bool next = json_is_true(json_object_get(params, "NextLevel"));
    JsonRef list(json_array());
    Names names{list, caller_rank(caller)};
    bool found = target_each(*impl_, name, [&](const Target& target, const std::string& path) {
        if (target.pseudo != Pseudo::NONE) {
            names.add(path, target.node->schema, target.pseudo == Pseudo::INDEX);
        } else if (target.schema) {
            names.add(path, target.schema,
                      target.schema->kind == Schema::PARAMETER && target.schema->writable);
        } else {
            Schema* schema = target.node->schema;
            if (!next) names.add(path.empty() ? "." : path, schema, schema->multi && schema->writable);
            std::string prefix = path;
            names_below(names, target.node, prefix, !next);
        }
    });
    if (!found) return fault(FAULT_INVALID_NAME, name);
    Answer answer;
    answer.result = json_pack("{s:o}", "ParameterList", list.release());
    return answer;
}

Answer Store::get_attributes(const Caller& caller, const json_t* params) {
    int level;
    if (!level_read(params, level)) return fault(FAULT_INVALID_ARGUMENTS, "Level is 0, 1 or -1");
    bool ignore = json_is_true(json_object_get(params, "IgnoreAccessError"));
    int rank = caller_rank(caller);
    JsonRef list(json_array());
    Lister lister{*impl_, list};
    Answer answer = each_name(*impl_, params, Missing::FAULT, [&](const SchemaTarget& target) -> Answer {
        if (rank < target.schema->read_rank && target.schema->kind == Schema::PARAMETER)
            return ignore ? Answer() : fault(FAULT_REQUEST_DENIED, target.path);
        lister.add(target.path, target_attrs(*impl_, target));
        std::string path = target.path == "." ? "" : target.path;
        if (target.pseudo == Pseudo::NONE)
            attributes_below(lister, target.schema, target.item, target.node, path, level);
        return {};
    });
    if (!answer.code) answer.result = json_pack("{s:o}", "ParameterList", list.release());
    return answer;
}

Answer Store::get_data_model(const Caller&, const json_t* params) {
    int level;
    if (!level_read(params, level)) return fault(FAULT_INVALID_ARGUMENTS, "Level is 0, 1 or -1");
    JsonRef root(model_node(impl_->root.attrs));
    Answer answer = each_name(*impl_, params, Missing::NEAREST, [&](const SchemaTarget& target) -> Answer {
        json_t* place =
            model_place(root, target.schema,
                        target.item || target.pseudo == Pseudo::ORDER || target.pseudo == Pseudo::INDEX);
        if (target.pseudo != Pseudo::NONE) {
            model_step(place, pseudo_name(target.pseudo), target_attrs(*impl_, target));
        } else {
            JsonRef tree(model_tree(*impl_, target.schema, target.item, level));
            model_merge(place, tree);
        }
        return {};
    });
    if (!answer.code) answer.result = json_pack("{s:o}", "Datamodel", root.release());
    return answer;
}

}  // namespace obxd
