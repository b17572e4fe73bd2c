// The schema of a model file in JSON.
#pragma once

#include <jansson.h>

#include <string>

#include "store/model.hpp"

namespace obxd {

/// Reads the "types" and "schema" members of a model file into the model's root (whose children are the
/// top's). False with `error` naming the path that is wrong.
bool schema_load_json(Model& model, const json_t* file, std::string& error);

}  // namespace obxd
