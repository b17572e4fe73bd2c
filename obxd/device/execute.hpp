// The request to run a method of the model.
#pragma once

#include "device/device.hpp"

namespace obxd {

void device_execute(Device& device, const json_t* params, const Reply& reply);

}  // namespace obxd
