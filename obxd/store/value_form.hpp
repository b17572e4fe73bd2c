// The forms of a value: as it is kept, and from a text.
#pragma once

#include <string>

#include "owners.hpp"
#include "store/schema.hpp"

namespace obxd {

/// The value of a type before it was given one; a new reference.
json_t* value_empty(int type);
/// The value in the form in which it is kept (an integer for a decimal becomes real, ...); a new reference.
json_t* value_normal(const Schema* parameter, json_t* value);
/// A text as a value of the parameter's type: 0, or the fault code with `why` filled.
int value_from_text(const Schema* parameter, const char* text, JsonRef& value, std::string& why);

}  // namespace obxd
