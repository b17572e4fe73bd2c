// The attributes of what the model knows, as a list and as nested objects.
#pragma once

#include "answers.hpp"
#include "caller.hpp"
#include "store/model.hpp"

namespace obxd {

/// GetParameterAttributes; this answer and the next are at most `room` bytes long, or cut.
Answer attributes_get(Model& model, const Caller& caller, const json_t* params, size_t room);
/// GetDataModel.
Answer datamodel_get(Model& model, const json_t* params, size_t room);

}  // namespace obxd
