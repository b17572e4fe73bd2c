// Restore points: saved configurations that have a name, listed as configuration files of the model.
#pragma once

#include <string>

#include "device/device.hpp"

namespace obxd {

/// The path of a restore point's file, which need not exist.
std::string restore_point_file(const Device& device, const std::string& name);
/// False when the model itself has a configuration file of that name.
bool restore_point_name_free(Device& device, const std::string& name);
/// Brings the table of configuration files up to date with the restore points that there are.
void restore_points_update(Device& device);
/// The name of the restore point that the row of that table stands for, or null.
const std::string* restore_point_at(const Device& device, const std::string& object);

}  // namespace obxd
