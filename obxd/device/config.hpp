// The configuration as a whole: saved, put in force, reset.
#pragma once

#include <string>

#include "device/device.hpp"

namespace obxd {

/// The running configuration as a file's text.
std::string config_text(Device& device);
/// Puts a configuration file in force. False with `error`, the old one still in force. `adopt_mode`: its
/// device mode counts more than the one of the last Reboot.
bool config_load(Device& device, const std::string& file, bool adopt_mode, std::string& error);
std::string config_path(const Device& device);

/// Back to the defaults, which also forgets what was saved. False when the new state cannot be written.
bool device_reset(Device& device, bool clean_all, const char* mode);

/// Requests.
void device_save_config(Device& device, const json_t* params, const Reply& reply);
void device_factory_reset(Device& device, const json_t* params, const Reply& reply);

}  // namespace obxd
