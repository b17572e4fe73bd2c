// The lazily filled cache of node metadata.
#pragma once

#include "obxc.hpp"

/// The root of the cache; null until the first dm_reload.
extern json_t* dm_root;
/// Grows with every change of the cache: who remembers a node without a reference of its own (the completion
/// of a name, at each key) may use it while this stays the same, and who stands at a node looks it up again
/// when this has grown.
extern unsigned dm_generation;

/// The child's node (borrowed), fetching first when needed; an instance number without a node gives
/// "#template". For "#template" alone the instances are not asked for.
json_t* node_child_get(NodePath* p, const char* name);
/// The node at a path's own text in a way that it can be changed: no other place of the cache holds it.
/// Borrowed; null when the cache does not have it.
json_t* node_own(const char* path);
/// Removes a member of a cached node.
void node_member_drop(json_t* node, const char* key);

/// Drops the whole cache and makes an empty root, or none at all.
void cache_clear(bool make_root);
/// The instances that the cache knows may be others by now: the next use asks for them again.
void dm_doubt(void);
/// The schema of the subtree at a path or selector: a new reference, or null.
json_t* dm_schema_get(const char* path);
