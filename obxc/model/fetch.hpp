// What the daemon tells of nodes. A long answer is folded while it arrives, and asked for in parts.
#pragma once

#include "model/instance_fold.hpp"
#include "model/node_tree.hpp"
#include "ox_jrpcmsg.hpp"

enum fetch_outcome {
    FETCH_DONE,   ///< with an answer, be it an error
    FETCH_LOST,   ///< the daemon was not reached
    FETCH_LARGE,  ///< no answer holds all of it
};

enum fetch_step {
    FETCH_STEP_CHILDREN,   ///< the node and its children, and of a multi-instance object the instances' own
                           ///< attributes
    FETCH_STEP_OWN,        ///< without these, where they are too many for an answer
    FETCH_STEP_NAMES,      ///< the names of the instances
    FETCH_STEP_INSTANCES,  ///< a part of them with all below
    FETCH_STEP_END,
};

enum { FETCH_QUERY_SIZE = 260 };

/// The names of an object's children, one behind the other.
struct NameList : ox_held {
    NameList() : ox_held([](ox_held* self) { static_cast<NameList*>(self)->~NameList(); }), bytes{} {}
    ~NameList() { bytes.clear(); }
    ox_array<char> bytes;  ///< each ends with a zero
};

/// A node that is asked for: requests one behind the other, each built from the answers before it. Whoever
/// runs it executes `message` with `taker` (fetch_ask) and has the answer taken (fetch_take) until the end.
struct Fetch {
    Fetch(const char* query, bool multi);
    Fetch(const Fetch&) = delete;
    Fetch& operator=(const Fetch&) = delete;

    char query[FETCH_QUERY_SIZE];  ///< the node's path, with its final "." if it is an object
    bool multi;
    fetch_step step;
    fetch_outcome outcome;  ///< at the end
    MsgRef message;         ///< of this step; null before fetch_ask
    ox_list_taker taker;
    NodeTree tree;      ///< the node and its children, relative to the query
    bool has_children;  ///< they came
    NameList names;
    size_t at;    ///< in the names: where the next part begins
    size_t next;  ///< and ends
    size_t size;  ///< names in the next part
    JsonRef part;
    InstanceFold fold;
    JsonRef instances;  ///< a list of parts, each of nodes by their numbers; the children of those that no
                        ///< answer holds are not known
    size_t filled;      ///< of the parts, those that were moved into the cache
};

/// Makes the request of the step.
void fetch_ask(Fetch* fetch);
/// Takes the answer to it and goes to the next step.
void fetch_take(Fetch* fetch);

/// The attributes of the named nodes (borrowed array), with `level` levels below each.
ox_jrpcmsg* fetch_message(json_t* names, int level);
/// What became of an executed request of a tree, which it empties where the daemon answered with an error.
fetch_outcome fetch_tree_outcome(NodeTree* tree, const ox_jrpcmsg* message);
