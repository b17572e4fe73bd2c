// Whether all values fit the model.
#pragma once

#include <string>

#include "store/model.hpp"

namespace obxd {

/// Checks every present value against its own type, bounds, references and keys, as a request would be.
/// False with the first that does not fit.
bool model_validate(Model& model, std::string& error);

}  // namespace obxd
