// Loading a model file.
#pragma once

#include <string>

#include "store/model.hpp"

namespace obxd {

/// Fills an empty model with a file's schema and values. False with `error` when the file is unreadable or
/// wrong.
bool model_load(Model& model, const std::string& file, std::string& error);

}  // namespace obxd
