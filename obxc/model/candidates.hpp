// The children of a node as texts.
#pragma once

#include "obxc.hpp"

enum NodeCandidates {
    CANDIDATES_OBJECTS = 1,    ///< leave out parameters
    CANDIDATES_DOT = 2,        ///< append "." to objects
    CANDIDATES_ABSOLUTE = 4,   ///< ":" in front of every entry
    CANDIDATES_PREFIX = 8,     ///< `text` is a name prefix to match, ignoring case
    CANDIDATES_WRITABLE = 16,  ///< leave out read-only parameters
};

/// A new array of strings, one per child of `p`'s node; `flags` of NodeCandidates. Without CANDIDATES_PREFIX
/// `text` (may be null) stands in front of each, joined by ".".
json_t* node_candidates(NodePath* p, const char* text, int flags);
/// Appends the same strings to `out`, until it holds `limit` (0: all).
void node_candidates_add(json_t* out, NodePath* p, const char* text, int flags, size_t limit);
