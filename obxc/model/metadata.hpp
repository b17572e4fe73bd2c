// The lazily filled cache of node metadata.
#pragma once

#include "obxc.hpp"

/// The root of the cache; null until the first dm_reload.
extern json_t* dm_root;
/// Grows with every change of the cache: who remembers a node may use it while this stays the same.
extern unsigned dm_generation;

enum NodeCandidates {
    CANDIDATES_OBJECTS = 1,    ///< leave out parameters
    CANDIDATES_DOT = 2,        ///< append "." to objects
    CANDIDATES_ABSOLUTE = 4,   ///< ":" in front of every entry
    CANDIDATES_PREFIX = 8,     ///< `text` is a name prefix to match, ignoring case
    CANDIDATES_WRITABLE = 16,  ///< leave out read-only parameters
};

/// Fills the node that `p` names from the daemon: its members are replaced by the answer's. Nothing of the
/// cache is touched before the last answer is there, so the wait may be left by a jump. A failed request
/// leaves the node without children and marked "#fetched" all the same; where the daemon was not reached at
/// all, the node keeps what it had and is also marked "#lost", and the next use asks again.
void node_fetch(NodePath* p);
/// Bounds what all later fetches wait for together, in milliseconds from now; -1: no bound. A fetch that runs
/// into the bound leaves its node as it was, and none is tried for that node again while a bound is set,
/// until a fetch without bound has filled it.
void node_fetch_limit(int ms);
/// What a request may still wait under that bound, in milliseconds; -1: no bound.
int node_fetch_timeout(void);
/// True when an executed request failed on the way: the daemon gave no answer.
bool request_lost(const ox_jrpcmsg* message);
/// True when the children of a node are not known yet.
bool node_needs_fetch(const json_t* node);
/// True when they came with an answer of the daemon, be it a refusal.
bool node_is_fetched(const json_t* node);
/// The child's node (borrowed), fetching first when needed; an instance number without a node gives
/// "#template".
json_t* node_child_get(NodePath* p, const char* name);
/// Removes a member of a cached node; who still holds its node may use it until dm_settle.
void node_member_drop(json_t* node, const char* key);
/// Rewrites "#info" into "#attr" throughout a tree.
void node_info_normalize(json_t* value);
/// Drops the cache and rebuilds its root; resets the current node. The previous path keeps its text and is
/// looked up again when "-" asks for it. Returns the new root.
json_t* dm_reload(void);
/// Releases the nodes that fetches have replaced since the last call. They are kept until then, so that a
/// command may hold several paths and nodes while it fetches: call it only between commands, when no working
/// copy of a path is in use.
void dm_settle(void);
/// What a change of identity does to the model: reloads it, where one is loaded.
void dm_identity_changed(void);
/// The instances that the cache knows may be others by now: the next use asks for them again.
void dm_doubt(void);
/// Releases the cache.
void dm_free(void);
/// A new array of strings, one per child of `p`'s node; `flags` of NodeCandidates.
json_t* node_candidates(NodePath* p, const char* text, int flags);
/// Appends the same strings to `out`, at most `limit` of them (0: all).
void node_candidates_add(json_t* out, NodePath* p, const char* text, int flags, size_t limit);
/// The schema of the subtree at a path or selector: a new reference, or null.
json_t* dm_schema_get(const char* path);
/// True for an object whose values are objects all the way down.
bool json_is_object_tree(const json_t* value);
