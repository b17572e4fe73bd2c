// The bounds that a parameter's members in a model file in JSON say.
#pragma once

#include <jansson.h>

#include <string>

#include "store/model.hpp"

namespace obxd {

/// Reads the limits of a parameter. `given` are its own members, to which those of the named types (`types`,
/// or null) that it follows are added. False with `why`.
bool json_limits_read(Model& model, const json_t* types, json_t* given, Limits& limits, std::string& why);

}  // namespace obxd
