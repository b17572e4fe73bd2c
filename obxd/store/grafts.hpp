// What clients ask every device for: added to a published model that lacks it.
//
// Who asks (Device.Users.), the state of a firmware upgrade and the device's mode (Device.DeviceInfo.), the
// debug mode (Device.System.) and the version of the model. They stand below "Device." whatever the root
// object's name is.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "store/builder.hpp"

namespace obxd {

/// The paths of the objects that must be there.
const std::vector<std::string_view>& graft_objects();
/// Adds what an object (by its path, "" for the top) lacks, once its own children are there. `version` is
/// the model's.
bool graft_children(Model& model, Schema* object, std::string_view path, const std::string& version,
                    Shapes& shapes, std::string& why);

}  // namespace obxd
