// What the daemon tells of nodes, as trees. A long answer is folded while it arrives, and asked for in parts.
#pragma once

#include <jansson.h>

enum fetch_outcome {
    FETCH_DONE,   ///< with an answer, be it an error
    FETCH_LOST,   ///< the daemon was not reached
    FETCH_LARGE,  ///< no answer holds all of it
};

/// The attributes of the named nodes (borrowed array), with `level` levels below each, as a tree relative to
/// `base`: a new reference, which holds nothing where the daemon answered with an error; null unless done.
/// Time-outs are in milliseconds, -1 for none.
json_t* fetch_nodes(json_t* names, int level, const char* base, int timeout, fetch_outcome* outcome);
/// The instances of the object at `query` (a path with its final ".") with all below them, by their numbers.
/// Instances that no answer holds are nodes whose children are not known. Null unless done. `timeout` tells
/// what each request may wait.
json_t* fetch_instances(const char* query, int (*timeout)(void), fetch_outcome* outcome);
