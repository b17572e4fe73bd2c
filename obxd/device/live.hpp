// Values that are computed when they are read.
#pragma once

#include <string>

#include "device/device.hpp"

namespace obxd {

/// Registers the values that are computed when they are read.
void live_register(Device& device);
/// Counts from zero again for the interface that holds the object `stats` (as in
/// "Device.Ethernet.Interface.1.Stats").
void live_reset_counters(Device& device, const std::string& stats);

}  // namespace obxd
