// Trees of box-drawing branches from two JSON documents: the one that is drawn, and its schema.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "obxc.hpp"

/// Branch states: one for each depth of the line being drawn.
enum TreeBranch : unsigned char {
    BRANCH_CONTINUES = 0,  ///< an ancestor continues below
    BRANCH_CHILD = 1,      ///< a child that is not the last
    BRANCH_LAST = 2,       ///< the last child
    BRANCH_BLANK = 3,      ///< below a last child
};
enum { TREE_DEPTH_LIMIT = 256 };

/// One drawn line.
struct TreeNode {
    const json_t* value;        ///< the node being drawn, borrowed
    const json_t* scheme;       ///< the matching schema node, borrowed, or null
    const char* name;           ///< the text drawn: the key, or the path for the root
    unsigned depth;             ///< 0 for the root
    unsigned printed_children;  ///< children drawn so far
    unsigned child_count;       ///< children that will be drawn
    size_t name_width;          ///< width to which the children's names are padded
    bool has_max_instance;      ///< a child key is "max_instance": it is drawn last
    unsigned char* branches;    ///< TREE_DEPTH_LIMIT states, shared by the whole tree
};

/// Draws the tree of `value`, titled `name`, on standard output; takes time linear in its size. `scheme` may
/// be null. What lies deeper than TREE_DEPTH_LIMIT is not drawn.
void tree_draw_root(const json_t* value, const json_t* scheme, const char* name);

/// The child of an object by a key of a length, or, for an instance number without one, its "#template".
/// Borrowed, or null.
json_t* tree_lookup_child(const json_t* node, const char* key, size_t key_length);
/// Walks along a dotted path as far as it goes: the deepest node reached, borrowed; null for a null root.
json_t* tree_descend(json_t* root, const char* path);
/// True for an object that holds no leaf at any depth.
bool is_empty_subtree(const json_t* value);
