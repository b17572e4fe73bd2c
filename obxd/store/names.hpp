// The names of what exists.
#pragma once

#include "answers.hpp"
#include "caller.hpp"
#include "store/model.hpp"

namespace obxd {

/// GetParameterNames; the answer is at most `room` bytes long, or cut.
Answer names_get(Model& model, const Caller& caller, const json_t* params, size_t room);

}  // namespace obxd
