// The attributes of what the model knows, as a list and as nested objects.
#pragma once

#include "answers.hpp"
#include "caller.hpp"
#include "store/model.hpp"

namespace obxd {

/// GetParameterAttributes.
Answer attributes_get(Model& model, const Caller& caller, const json_t* params);
/// GetDataModel.
Answer datamodel_get(Model& model, const json_t* params);

}  // namespace obxd
