#include "scopes.hpp"

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"

namespace obxd {
namespace {

/// The model's own top object: the one that all stands in; the root itself where several do.
const Schema* top_of(const Schema* object) {
    const Schema* top = object;
    while (top->parent && top->parent->parent) top = top->parent;
    return top;
}

/// The object above the node's own; null for the top.
const Node* node_above(const Node* node) {
    return node->number ? node->parent->parent : node->parent;
}

/// Names from the top with the final "."; "" for the root. Where the node is the object's, or one above, the
/// instances are its own; others are "#template".
void names_add(const Schema* schema, const Node* node, std::string& out) {
    if (!schema->parent) return;
    bool own = node && node->schema == schema;
    names_add(schema->parent, own ? node_above(node) : node, out);
    out += schema->name;
    out += '.';
    if (schema->multi)
        out += own && node->number ? std::to_string(node->number) + '.' : std::string(OX_TR_TEMPLATE) + ".";
}

void component_add(std::string_view name, std::string& out) {
    out += name == "{i}" || name == "*" ? std::string_view(OX_TR_TEMPLATE) : name;
    out += '.';
}

}  // namespace

std::string scope_path(const Schema* object, const Node* node, std::string_view path) {
    std::string full;
    size_t up = 0;
    while (up < path.size() && path[up] == '#') up++;
    bool relative = up > 0 && (up == path.size() || path[up] == '.');
    if (relative) {
        path.remove_prefix(up);
        // A command and its arguments are one level.
        if (object->parent && object->parent->kind == Schema::METHOD) object = object->parent;
        for (size_t i = 0; i < up && object->parent; i++) {
            if (node && node->schema == object) node = node_above(node);
            object = object->parent;
        }
    }
    bool from_top = !relative && !path.empty() && path[0] == '.';
    if (!path.empty() && path[0] == '.') path.remove_prefix(1);
    std::string_view first = path.substr(0, path.find('.'));
    const Schema* root = object;
    while (root->parent) root = root->parent;
    if (from_top)
        names_add(top_of(object), node, full);
    else if (relative || (!schema_child(root, first) || schema_child(object, first)))
        names_add(object, node, full);
    for (std::string_view name : ox_tr_components(path)) component_add(name, full);
    if (!full.empty()) full.pop_back();
    return full;
}

bool scope_is_top(std::string_view full) {
    return !full.empty() && full.find('.') == full.npos;
}

}  // namespace obxd
