// The members of a node in a model file in JSON: which there are, and what they mean for any node.
#pragma once

#include <jansson.h>

#include <string>

#include "store/builder.hpp"

namespace obxd {

/// A member that is a text, or null.
const char* member_text(const json_t* given, const char* key);
bool member_flag(const json_t* given, const char* key);
/// Whether all members are known and have the right types. False with `why`.
bool members_check(json_t* given, std::string& why);
/// What the members say, the attributes of the wire left out; and those, as a new object.
Facts members_facts(json_t* given);
JsonRef members_attrs(json_t* given);

}  // namespace obxd
