// Parameters that mean something by their names: an alias that is given when an instance is added, an "Order"
// that shows the place, a "Status" that follows the "Enable" beside it, a counter of instances.
#pragma once

#include <string_view>

#include "store/tree.hpp"

namespace obxd {

/// Ties a counter to the multi-instance object of that name beside it. False when there is none.
bool tie_counter(Schema* parameter, std::string_view counts);
/// Ties the parameters of an object whose children are all there to what they show, but for what is tied.
void ties_make(Schema* object);
/// Derives the lookups of a multi-instance object from its keys and its alias.
void ties_look_up(Schema* object);

/// Puts the status that belongs to an "Enable" right. True when it was another one.
bool status_follow(Node* node, const Schema* enable);
/// Whether a parameter that can be set once was: it holds neither its initial value nor an alias that was
/// given to it.
bool is_spent(const Node* node, const Schema* parameter);
/// Gives a new instance an alias that no other instance has.
void alias_make(Node* instance);
/// Gives an instance without alias the one of its number.
void alias_fill(Node* instance);

}  // namespace obxd
