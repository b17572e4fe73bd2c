// Files of values: what state a model's device is in.
#pragma once

#include <string>

#include "store/model.hpp"

namespace obxd {

/// Adds the values of a file to those of the model, its own going before. A tree of values as model files
/// have them, in which names at the top may be whole paths. False with `error`, which names the file, when it
/// can't be read or a value does not fit; then the model is as it was.
bool values_load(Model& model, const std::string& file, std::string& error);

}  // namespace obxd
