// Loading a model file.
#pragma once

#include <string>

#include "store/model.hpp"
#include "store/model_files.hpp"

namespace obxd {

/// Fills an empty model with the files' schema and values. False with `error` when one is unreadable or
/// wrong.
bool model_load(Model& model, const ModelFiles& files, std::string& error);

}  // namespace obxd
