// The events of the model that the device itself has an occasion for; told under their own names, with the
// model's arguments. A model that lacks one is told nothing of it.
#pragma once

#include <string>

#include "device/device.hpp"

namespace obxd {

/// "Device.Boot!": a while after the device came up, so that clients have had time to connect again.
void boot_event(Device& device);

/// A reply that also tells how a transfer went ("Device.LocalAgent.TransferComplete!"). `type` is "Download"
/// or "Upload", `command` the path of the command that asked for it ("": none), `params` as the request's.
Reply transfer_event(Device& device, const char* type, const std::string& command, const json_t* params,
                     const Reply& reply);

/// "Device.WiFi.DataElements.AssociationEvent.Associated!": a station with that address has joined.
void station_event(Device& device, const std::string& access_point, const char* address);

}  // namespace obxd
