// Checking the call of a method.
#pragma once

#include <string>

#include "answers.hpp"
#include "caller.hpp"
#include "store/model.hpp"

namespace obxd {

/// Execute, for others to run: fills `path` with the method's full path in the model's own spelling and
/// `inputs` (a new object of relative name to value, with the defaults filled in). A fault otherwise (code 0:
/// fine).
Answer execute_check(Model& model, const Caller& caller, const json_t* params, std::string& path,
                     json_t*& inputs);

}  // namespace obxd
