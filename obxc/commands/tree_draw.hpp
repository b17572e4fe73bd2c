// Trees of box-drawing branches from two JSON documents: the one that is drawn, and its schema.
#pragma once

#include <stddef.h>

#include "obxc.hpp"

enum { TREE_DEPTH_LIMIT = 256 };

/// Draws the tree of `value`, titled `name`, on standard output; takes time linear in its size. `scheme` may
/// be null. What lies deeper than TREE_DEPTH_LIMIT is not drawn.
void tree_draw_root(const json_t* value, const json_t* scheme, const char* name);

/// Walks along a dotted path as far as it goes: the deepest node reached, borrowed; null for a null root.
json_t* tree_descend(json_t* root, const char* path);
