// Nodes that several places of the cache hold.
//
// Ten thousand instances of an object mostly have the same nodes below them, and thousands of parameters the
// same attributes: they are one node each, which bears "#shared" like all nodes below it. Who changes a node
// makes sure first that it is its own.
#pragma once

#include <jansson.h>

#include <string_view>

/// Whether several places hold the node.
bool node_is_shared(const json_t* node);
/// Marks a node with everything below as held by several places.
void node_share(json_t* node);
/// The node without children that has these attributes (borrowed, or null): a new reference to the one that
/// all share; null when memory runs out.
json_t* shared_leaf(json_t* attributes);
/// The member of a node that is not shared, in a way that it can be changed: a copy takes the place of a
/// shared one. Borrowed; null where there is none.
json_t* node_own_member(json_t* node, std::string_view key);
/// A node that can be changed in place of this one: itself, or a copy when it is shared. A new reference.
json_t* node_own_copy(json_t* node);
/// Forgets the leaves.
void shared_leaves_clear(void);
