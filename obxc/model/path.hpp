// Places in the data model: their records, and the steps between a node and its children.
#pragma once

#include <string_view>

#include "obxc.hpp"

/// Zero-fills the destination and copies node, parents, `multi`, `ordered`, `input_allowed` and the text; the
/// copy's other flags are clear. The caller releases it with path_free. Returns the copy's text.
const char* path_copy(NodePath* destination, const NodePath* source);
/// Releases node and parents, and the record too when it is heap-owned.
void path_free(NodePath* p);
/// Back to the root; `via_template` and `heap_owned` stay.
void path_reset(NodePath* p);
/// Descends to a child. Returns 0, or -1 when the text would exceed 258 characters (nothing changes then).
int path_push(NodePath* p, json_t* child, const char* name, int multi, int ordered);
/// The same with the marks of the child's schema.
int path_push_child(NodePath* p, json_t* child, const char* name);
/// Up to the parent; the root stays.
void path_climb(NodePath* p);
/// Walks a path's own text ("#template" and "#input" included) from the root. Without `fetch` only what the
/// cache holds is followed. False when a component is missing; `p` then holds what was reached.
bool path_follow(NodePath* p, const char* text, bool fetch);
/// True when `p` names the root of a loaded model, or nothing is loaded.
bool path_is_root(const NodePath* p);
/// Writes a component as a text that ends with a zero; false when it is longer than any path.
bool path_component(char out[sizeof NodePath::path], std::string_view component);
