// Reading values as a list.
#pragma once

#include "answers.hpp"
#include "caller.hpp"
#include "store/model.hpp"

namespace obxd {

/// GetParameterValues.
Answer values_get(Model& model, const Caller& caller, const json_t* params);

}  // namespace obxd
