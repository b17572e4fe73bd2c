// The lazily filled cache of node metadata.
#pragma once

#include "obxc.hpp"

/// The root of the cache; null until the first dm_reload.
extern json_t* dm_root;

enum NodeCandidates {
    CANDIDATES_OBJECTS = 1,    ///< leave out parameters
    CANDIDATES_DOT = 2,        ///< append "." to objects
    CANDIDATES_ABSOLUTE = 4,   ///< ":" in front of every entry
    CANDIDATES_PREFIX = 8,     ///< `text` is a name prefix to match, ignoring case
    CANDIDATES_WRITABLE = 16,  ///< leave out read-only parameters
};

/// Fills the node that `p` names from the daemon.
void node_fetch(NodePath* p);
/// The child's node (borrowed), fetching first when needed; an instance number without a node gives
/// "#template".
json_t* node_child_get(NodePath* p, const char* name);
/// Rewrites "#info" into "#attr" throughout a tree.
void node_info_normalize(json_t* value);
/// Drops the cache and rebuilds its root; resets the current node. Returns the new root.
json_t* dm_reload(void);
/// What a change of identity does to the model: reloads it, where one is loaded.
void dm_identity_changed(void);
/// Releases the cache.
void dm_free(void);
/// A new array of strings, one per child of `p`'s node; `flags` of NodeCandidates.
json_t* node_candidates(NodePath* p, const char* text, int flags);
/// The schema of the subtree at a path or selector: a new reference, or null.
json_t* dm_schema_get(const char* path);
/// True for an object whose values are objects all the way down.
bool json_is_object_tree(const json_t* value);
/// The first member whose key equals `name` ignoring case; its own spelling, or null. Costs no walk over all
/// siblings when the spelling is right.
const char* node_member_spelling(const json_t* node, const char* name);
