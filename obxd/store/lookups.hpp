// How the instances of a table are found by their values without going through all of them.
#pragma once

#include "store/tree.hpp"

namespace obxd {

/// Takes an instance out of its table's lookups and puts it in again, around a change of `parameter` (null:
/// of all).
void lookups_leave(Node* instance, const Schema* parameter);
void lookups_enter(Node* instance, const Schema* parameter);
/// The first other instance (by number) with the same values in that lookup, or null: also while all of them
/// are at their defaults.
Node* lookup_rival(const Node* instance, size_t lookup);
/// Whether an instance of the table has that alias.
bool alias_taken(const Node* table, const json_t* alias);

}  // namespace obxd
