#include "model/node_tree.hpp"

#include <string.h>

#include "model/shared.hpp"
#include "ox_tr.hpp"

namespace {

enum { MEMBER_COST = 112, NODE_COST = 300, DEPTH_LIMIT = 1024 };
enum : size_t { FREE_COST = size_t{32} << 20 };

/// Whether one more member fits. What is handed on is bounded as what the reader keeps is.
bool count_cost(NodeTree* tree, size_t bytes, size_t arrived) {
    tree->cost += bytes;
    if (tree->cost > 2 * arrived + FREE_COST) tree->full = true;
    return !tree->full;
}

bool is_allowed(std::string_view rest) {
    size_t depth = 0;
    for (std::string_view component : ox_tr_components(rest)) {
        if (++depth > DEPTH_LIMIT || (component[0] == '#' && ox_tr_is_mark(component))) return false;
    }
    return true;
}

/// The child of an own node as one that can be changed, made where there is none.
json_t* own_child(NodeTree* tree, json_t* node, std::string_view key, size_t arrived) {
    json_t* child = node_own_member(node, key);
    if (child) return child;
    if (!count_cost(tree, MEMBER_COST + NODE_COST + key.size(), arrived)) return nullptr;
    child = json_object();
    return json_object_setn_new_nocheck(node, key.data(), key.size(), child) == 0 ? child : nullptr;
}

/// The node that a path below the base names.
json_t* find_directory(NodeTree* tree, std::string_view directory, size_t arrived) {
    const ox_array<char>& last = tree->directory;
    bool same = tree->parent && last.size == directory.size() &&
                (last.size == 0 || memcmp(last.data, directory.data(), last.size) == 0);
    if (same) return tree->parent;
    tree->parent = nullptr;
    json_t* node = tree->root;
    for (std::string_view component : ox_tr_components(directory)) {
        if (node) node = own_child(tree, node, component, arrived);
    }
    tree->directory.size = 0;
    if (tree->directory.append(directory.data(), directory.size())) tree->parent = node;
    return node;
}

void set_attributes(json_t* node, json_t* attributes) {
    if (attributes) json_object_set(node, OX_TR_ATTR, attributes);
}

/// The name behind the base, or null when it lies elsewhere.
const char* below_base(const NodeTree* tree, const char* name) {
    size_t length = tree->base ? strlen(tree->base) : 0;
    // Mostly it goes on as the base is written.
    if (length > 1 && tree->base[length - 1] == '.' && strncmp(name, tree->base, length) == 0)
        return name + length;
    return ox_tr_path_below(name, tree->base);
}

}  // namespace

NodeTree::NodeTree(const char* top)
    : ox_held([](ox_held* self) { static_cast<NodeTree*>(self)->~NodeTree(); }),
      root(json_object()),
      base(top),
      parent(nullptr),
      directory{},
      cost(0),
      full(false) {}

NodeTree::~NodeTree() {
    json_decref(root);
    directory.clear();
}

void node_tree_clear(NodeTree* tree) {
    json_decref(tree->root);
    tree->root = json_object();
    tree->parent = nullptr;
    tree->cost = 0;
    tree->full = false;
}

void node_tree_add(NodeTree* tree, const char* name, json_t* attributes, size_t arrived) {
    const char* rest = below_base(tree, name);
    if (!rest || !is_allowed(rest)) return;
    std::string_view leaf = ox_tr_path_leaf(rest);
    if (leaf.empty()) {
        set_attributes(tree->root, attributes);
        return;
    }
    json_t* parent = find_directory(tree, {rest, static_cast<size_t>(leaf.data() - rest)}, arrived);
    if (!parent) return;
    if (json_t* known = node_own_member(parent, leaf)) {
        set_attributes(known, attributes);
        tree->parent = nullptr;  // what was found below a shared node is another one now
        return;
    }
    if (!count_cost(tree, MEMBER_COST + leaf.size(), arrived)) return;
    json_object_setn_new_nocheck(parent, leaf.data(), leaf.size(), shared_leaf(attributes));
}

ox_list_taker node_tree_taker(NodeTree* tree) {
    return {[](void* context) { node_tree_clear(static_cast<NodeTree*>(context)); },
            [](void* context, const ox_list_element* element) {
                if (!element->name) return;
                node_tree_add(static_cast<NodeTree*>(context), element->name, element->attributes,
                              element->arrived);
            },
            tree};
}
