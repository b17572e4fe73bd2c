// Files that clients have written: where they may be.
#pragma once

#include <string>

#include "device/device.hpp"

namespace obxd {

/// Writes `text` to where the params' URL and TargetFileName say: a file, or a directory to which the target
/// name or else `default_name` is added. That must be below the state directory, but not where the daemon
/// keeps its own files, or below one of DeviceOptions::upload_dirs; symbolic links below these are not
/// followed. 0 or a fault code with its detail.
int upload_write(const Device& device, const json_t* params, const char* default_name,
                 const std::string& text, std::string& detail);

}  // namespace obxd
