// Firmware: images that are fetched, checked, and flashed when the order comes.
#pragma once

#include "device/device.hpp"

namespace obxd {

/// The firmware kind of Download.
void firmware_download(Device& device, const json_t* params, const Reply& reply);
/// What UpgradeStatus is for the connection that asks: a new reference.
json_t* firmware_status(Device& device);
/// Ends the flashing where it is; the running firmware stays. False when nothing is flashed.
bool firmware_cut_off(Device& device);
/// Forgets the transaction and its file.
void firmware_cancel(Device& device);

}  // namespace obxd
