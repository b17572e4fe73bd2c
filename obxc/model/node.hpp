// What a node of the cache tells about itself. A node is a JSON object: its attributes, marks and children.
#pragma once

#include <jansson.h>

/// True when the first `max` characters (-1: all) are 1 to 20 decimal digits and nothing else.
bool is_instance_number(const char* text, int max);
bool node_is_parameter(const json_t* node);
bool node_is_read_only(const json_t* node);
/// True when the children of a node are not known yet.
bool node_needs_fetch(const json_t* node);
/// True when they came with an answer of the daemon, be it a refusal.
bool node_is_fetched(const json_t* node);
/// The child of an object by a key of a length, or, for an instance number without one, its "#template".
/// Borrowed, or null.
json_t* node_child_find(const json_t* node, const char* key, size_t key_length);
/// True for an object whose values are objects all the way down.
bool json_is_object_tree(const json_t* value);
