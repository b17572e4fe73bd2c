// The events that a model knows.
#pragma once

#include <string_view>

#include "store/model.hpp"

namespace obxd {

/// The arguments of the event `name` of an object: those of `given` (borrowed) that it has, the others as the
/// model begins them. A new object; null when the model has no such event.
json_t* event_arguments(Model& model, std::string_view object, std::string_view name, const json_t* given);

}  // namespace obxd
