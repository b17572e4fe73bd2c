// Requests that move files, and what methods share with them.
#pragma once

#include <functional>
#include <string>

#include "device/device.hpp"
#include "device/fetch.hpp"

namespace obxd {

struct FetchDone {
    /// Looks at the fetched file on the job's thread; may turn the fetch into a failure. May be empty.
    std::function<void(Fetch&)> on_thread;
    /// Goes on with the fetched file, which is its own now, on the loop.
    std::function<void(const std::string& file, const Reply&)> on_loop;
};

/// Fetches what the URL, MD5 and FileSize of the params say, without holding up the loop; every failure is
/// answered.
void start_fetch(Device& device, const json_t* params, const Reply& reply, const FetchDone& done);

/// Fetches a configuration as start_fetch does and puts it in force. `check` as FetchDone::on_thread.
void download_config(Device& device, const json_t* params, const Reply& reply,
                     const std::function<void(Fetch&)>& check);

/// Writes a "Config", "BuildConfig" or "Log" to where the params' URL and TargetFileName say.
Answer upload_file(Device& device, const std::string& kind, const json_t* params);
/// Writes a copy of a file there; `name` is its name in a directory that has none for it.
Answer upload_copy(Device& device, const std::string& file, const char* name, const json_t* params);

/// Requests.
void device_download(Device& device, const json_t* params, const Reply& reply);
void device_upload(Device& device, const json_t* params, const Reply& reply);

}  // namespace obxd
