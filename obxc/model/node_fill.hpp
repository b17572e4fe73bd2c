// A node of the cache takes over what a fetch has brought.
#pragma once

#include "model/fetch.hpp"
#include "obxc.hpp"

/// Drops what the node had. Until the last step its children count as not known.
void node_fill_begin(NodePath* p, const Fetch& fetch);
/// Moves at most so many children from the fetch to the node. True when it has all of them and is whole.
bool node_fill_some(NodePath* p, Fetch* fetch, size_t most);
/// The daemon was not reached: what is known stays, and the next use asks again.
void node_fill_lost(NodePath* p);
/// Puts a template in its place; false when it did not come.
bool node_fill_template(NodePath* p, const Fetch& fetch);
