// Whether a value fits its parameter.
#pragma once

#include <string>

#include "store/model.hpp"

namespace obxd {

/// Checks a value against a parameter's type and bounds: 0, or the fault code with `why` filled.
/// `node` is the owner (null: no check that depends on other values).
int value_check(Model& model, const Schema* parameter, const Node* node, const json_t* value,
                std::string& why);

}  // namespace obxd
