// The members of a node in a model file in JSON: which there are, and what they mean for any node.
#pragma once

#include <jansson.h>

#include <string>

#include "store/builder.hpp"

namespace obxd {

/// The member of an object that holds its events.
constexpr char MODEL_EVENTS[] = "#events";

/// A member that is a text, or null.
const char* member_text(const json_t* given, const char* key);
bool member_flag(const json_t* given, const char* key);
/// When a default is the value, by its word ("object", "factory", ...); null is none. False for no such word.
bool default_kind_parse(const char* text, DefaultKind& kind);
const char* default_kind_text(DefaultKind kind);
/// Whether all members are known and have the right types. False with `why`.
bool members_check(json_t* given, std::string& why);
/// What the members say of the node, texts kept in the model's; the attributes of the wire are left out.
Facts members_facts(Model& model, json_t* given);
/// Those of the wire that say nothing of values, as a new object.
JsonRef members_attrs(json_t* given);
/// The members without those that only this node has (its description, ...): what equal parameters share.
JsonRef members_shared(json_t* given);

}  // namespace obxd
