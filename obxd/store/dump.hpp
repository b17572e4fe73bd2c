// The model as a model file in JSON.
#pragma once

#include "store/model.hpp"

namespace obxd {

/// A model file (a new reference) that loads as the same model: its types, its schema, and the values that it
/// started with.
json_t* model_dump(const Model& model);

}  // namespace obxd
