// The schema of a model file in JSON.
#pragma once

#include <jansson.h>

#include <string>

#include "store/schema.hpp"

namespace obxd {

/// Reads the "types" and "schema" members of a model file into `root` (whose children are the top's).
/// False with `error` naming the path that is wrong.
bool schema_load_json(Schema* root, const json_t* model, std::string& error);

}  // namespace obxd
