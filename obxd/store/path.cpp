// From a path's text to what it names.

#include <string.h>

#include "impl.hpp"

namespace obxd {
namespace {

using Parts = std::vector<std::string_view>;

Node* child_object(Node* node, const Schema* schema) {
    return node->objects[schema->slot].get();
}

Pseudo pseudo_of(const Node* node, std::string_view name) {
    if (is_table(node)) return name == "max_instance" ? Pseudo::MAX_INSTANCE : Pseudo::NONE;
    if (!node->schema->ordered) return Pseudo::NONE;
    if (name == "order") return Pseudo::ORDER;
    if (name == "index") return Pseudo::INDEX;
    return Pseudo::NONE;
}

/// The last step to a leaf: a pseudo-parameter, a parameter or a method of `node`.
bool leaf_find(Node* node, std::string_view name, Target& target) {
    Pseudo pseudo = pseudo_of(node, name);
    Schema* child = pseudo == Pseudo::NONE && !is_table(node) ? schema_child(node->schema, name) : nullptr;
    if (pseudo == Pseudo::NONE && (!child || child->kind == Schema::OBJECT)) return false;
    target = {node, child, pseudo};
    return true;
}

Node* step(Node* node, std::string_view name) {
    uint32_t number;
    if (is_table(node)) return instance_number(name, number) ? instance_find(node, number) : nullptr;
    Schema* child = schema_child(node->schema, name);
    return child && child->kind == Schema::OBJECT ? child_object(node, child) : nullptr;
}

struct Expansion {
    const Parts& parts;
    bool partial;  ///< the path ends in ".", so it names an object
    const std::function<void(const Target&, const std::string&)>& visit;
};

bool wildcard(std::string_view part) {
    return part == "#template" || part == "*";
}

/// True when the rest of the path could exist below an instance that isn't there.
bool schema_has(const Schema* schema, bool item, const Parts& parts, size_t at, bool partial) {
    for (; at < parts.size(); at++) {
        if (schema->multi && !item) {
            uint32_t number;
            if (parts[at] == "max_instance") return at + 1 == parts.size() && !partial;
            if (!wildcard(parts[at]) && !instance_number(parts[at], number)) return false;
            item = true;
            continue;
        }
        if (schema->ordered && at + 1 == parts.size() && (parts[at] == "order" || parts[at] == "index"))
            return true;
        const Schema* child = schema_child(schema, parts[at]);
        if (!child) return false;
        if (child->kind != Schema::OBJECT) return at + 1 == parts.size() && !partial;
        schema = child;
        item = false;
    }
    return true;
}

bool expand(const Expansion& job, Node* node, size_t at, std::string& path) {
    if (at == job.parts.size()) {
        job.visit({node, nullptr, Pseudo::NONE}, path);
        return true;
    }
    std::string_view part = job.parts[at];
    size_t length = path.size();
    if (is_table(node) && wildcard(part)) {
        if (node->instances.empty()) return schema_has(node->schema, true, job.parts, at + 1, job.partial);
        bool found = false;
        for (auto& instance : node->instances) {
            path += std::to_string(instance->number);
            path += '.';
            found |= expand(job, instance.get(), at + 1, path);
            path.resize(length);
        }
        return found;
    }
    Target target;
    if (at + 1 == job.parts.size() && !job.partial && leaf_find(node, part, target)) {
        path += part;
        job.visit(target, path);
        path.resize(length);
        return true;
    }
    Node* next = step(node, part);
    if (!next) return false;
    path += part;
    path += '.';
    bool found = expand(job, next, at + 1, path);
    path.resize(length);
    return found;
}

}  // namespace

bool target_find(Impl& impl, std::string_view path, Target& target) {
    Parts parts;
    if (!path_split(path, parts)) return false;
    Node* node = impl.top.get();
    bool partial = path.back() == '.';
    for (size_t i = 0; i < parts.size(); i++) {
        if (i + 1 == parts.size() && !partial && leaf_find(node, parts[i], target)) return true;
        node = step(node, parts[i]);
        if (!node) return false;
    }
    target = {node, nullptr, Pseudo::NONE};
    return true;
}

bool target_each(Impl& impl, std::string_view path,
                 const std::function<void(const Target&, const std::string& path)>& visit) {
    Parts parts;
    if (!path_split(path, parts)) return false;
    Expansion job{parts, path.back() == '.', visit};
    std::string full;
    return expand(job, impl.top.get(), 0, full);
}

bool schema_find(Impl& impl, std::string_view path, SchemaTarget& target) {
    Parts parts;
    if (!path_split(path, parts)) return false;
    target = {&impl.root, false, Pseudo::NONE, {}, nullptr};
    Node* node = impl.top.get();  // null below a template or a method
    for (std::string_view part : parts) {
        Schema* schema = target.schema;
        if (target.pseudo != Pseudo::NONE || schema->kind == Schema::PARAMETER) return false;
        target.path += part;
        target.path += '.';
        if (schema->multi && !target.item) {
            uint32_t number = 0;
            if (part == "max_instance" && !schema->argument) {
                target.pseudo = Pseudo::MAX_INSTANCE;
                continue;
            }
            if (part != "#template" && !instance_number(part, number)) return false;
            // Arguments have no instances of their own: any number stands for the template.
            if (number && node && !(node = instance_find(node, number))) return false;
            if (!number) node = nullptr;
            target.item = true;
            continue;
        }
        if (schema->kind == Schema::METHOD) {
            if (part != "#input" || !schema->input) return false;
            target.schema = schema->input.get();
            node = nullptr;
            continue;
        }
        if (schema->ordered && (part == "order" || part == "index")) {
            target.pseudo = part == "order" ? Pseudo::ORDER : Pseudo::INDEX;
            continue;
        }
        target.schema = schema_child(schema, part);
        if (!target.schema) return false;
        target.item = false;
        if (target.schema->kind == Schema::OBJECT)
            node = node ? child_object(node, target.schema) : nullptr;
        else
            node = nullptr;
    }
    if (target.pseudo != Pseudo::NONE || target.schema->kind != Schema::OBJECT) target.path.pop_back();
    if (target.path.empty()) target.path += '.';
    target.node = node;
    return true;
}

bool path_climb(std::string& path) {
    Parts parts;
    if (!path_split(path, parts) || parts.empty()) return false;
    size_t length = static_cast<size_t>(parts.back().data() - path.data());
    path.resize(length);
    if (path.empty()) path.push_back('.');
    return true;
}

}  // namespace obxd
