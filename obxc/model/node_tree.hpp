// The nodes that a list of named attributes stands for, put together while the list arrives.
#pragma once

#include "ox_array.hpp"
#include "ox_held.hpp"
#include "ox_jrpclist.hpp"
#include "ox_raii.hpp"

/// A tree that grows by its elements. Parameters with equal attributes are one node in it.
struct NodeTree : ox_held {
    /// Names are relative to `base` (null or ".": from the top), which must outlive the tree.
    explicit NodeTree(const char* base);
    ~NodeTree();
    json_t* root;              ///< owned
    const char* base;          ///< borrowed
    json_t* parent;            ///< of the node that was added last; borrowed from the tree
    ox_array<char> directory;  ///< its path below the base, with its final "."
    size_t cost;               ///< bytes of memory
    bool full;                 ///< there was more than fits the length of the text: something is missing
};

/// Drops what was added.
void node_tree_clear(NodeTree* tree);
/// Adds the node of a name with its attributes (borrowed, or null); nodes on the way to it are made. Names
/// outside of the base, of more than 1024 components, and those that hold marks of the cache are passed over.
/// `arrived` bytes of text have come so far.
void node_tree_add(NodeTree* tree, const char* name, json_t* attributes, size_t arrived);
/// Adds what is handed on.
ox_list_taker node_tree_taker(NodeTree* tree);
