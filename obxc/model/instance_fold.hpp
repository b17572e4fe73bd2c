// The instances of an object, put together while their attributes arrive. Instances with the same nodes below
// them become one shared node: mostly that is all of them.
#pragma once

#include "model/node_tree.hpp"

/// An instance as the names and attributes that it consists of.
struct InstanceText {
    ox_array<char> bytes;          ///< the names below it, each with a zero behind it
    ox_array<json_t*> attributes;  ///< of the names, in order; owned, or null
};

/// An instance that was made, to be shared by the next one that is equal.
struct KnownInstance {
    InstanceText text;
    json_t* node;  ///< owned
};

enum { KNOWN_INSTANCES = 8 };

struct InstanceFold : ox_held {
    /// `base` is the object's path with its final "."; it must outlive the fold.
    explicit InstanceFold(const char* base);
    ~InstanceFold();
    json_t* instances;  ///< owned: what the exchange under way has given, by instance number
    const char* base;
    ox_array<char> key;  ///< of the instance that is open; empty: none
    InstanceText open;
    KnownInstance known[KNOWN_INSTANCES];
    size_t next;      ///< of these, the one to be replaced
    size_t elements;  ///< that were taken by the exchange
    size_t cost;
    size_t arrived;
    bool full;  ///< there was more than fits
};

/// Takes what is handed on.
ox_list_taker instance_fold_taker(InstanceFold* fold);
/// The instances of the exchange that has ended: the caller owns the object, and the fold is ready for
/// another exchange.
json_t* instance_fold_take(InstanceFold* fold);
