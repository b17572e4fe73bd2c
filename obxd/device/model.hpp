// What the device looks up in its own model.
#pragma once

#include <string>
#include <vector>

#include "owners.hpp"
#include "store/store.hpp"

namespace obxd {

/// The attributes of a node: an object, empty where there is no such node.
JsonRef model_attributes(Store& store, const std::string& path);
/// The full paths of the parameters and objects right below an object; its path without the final ".".
std::vector<std::string> model_children(Store& store, const std::string& object);

/// The least rank that may call the method of the model at this path; an administrator's where the model has
/// none.
Rank model_call_rank(Store& store, const std::string& path);

}  // namespace obxd
