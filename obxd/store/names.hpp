// The names of what exists.
#pragma once

#include "answers.hpp"
#include "caller.hpp"
#include "store/model.hpp"

namespace obxd {

/// GetParameterNames.
Answer names_get(Model& model, const Caller& caller, const json_t* params);

}  // namespace obxd
