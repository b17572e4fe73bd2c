// Setting values: all that a request names, or none; and the daemon's own setting.
#pragma once

#include <string_view>

#include "answers.hpp"
#include "caller.hpp"
#include "store/model.hpp"

namespace obxd {

/// SetParameterValues; `raw`: values are texts as a person typed them.
Answer values_set(Model& model, const Caller& caller, const json_t* params, bool raw);

/// Sets one value with no permission check and regardless of read-only; takes over `value`; tells the
/// listener. False when there is no such parameter, or the value does not fit it.
bool value_set(Model& model, std::string_view path, json_t* value);
/// Sets the parameters of one object that can be set (not of those below it) to the values of the model file.
/// False when there is no such object.
bool object_reset(Model& model, std::string_view path);

}  // namespace obxd
