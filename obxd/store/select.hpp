// Finding what a selector matches.
#pragma once

#include "answers.hpp"
#include "caller.hpp"
#include "store/model.hpp"

namespace obxd {

/// Select.
Answer selection_get(Model& model, const Caller& caller, const json_t* params);

}  // namespace obxd
