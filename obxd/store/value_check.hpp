// Whether a value fits its parameter.
#pragma once

#include <string>

#include "store/model.hpp"

namespace obxd {

/// Checks a value against a parameter's type and bounds: 0, or the fault code with `why` filled.
/// `node` is the owner, of an argument its method's (null: no check that depends on other values). What only
/// the device may say is refused `by_client`.
int value_check(Model& model, const Schema* parameter, const Node* node, const json_t* value,
                std::string& why, bool by_client = false);

}  // namespace obxd
