// The bounds of a parameter as the members of a model file in JSON.
#pragma once

#include <jansson.h>

#include "store/limits.hpp"

namespace obxd {

/// Adds the members "type" (`type` is its text) and those of the limits; a named data type is added to
/// `types`.
void limits_dump(const Limits& limits, const char* type, json_t* members, json_t* types);

}  // namespace obxd
