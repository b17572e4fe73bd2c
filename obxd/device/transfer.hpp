// What the kinds of Download share.
#pragma once

#include <functional>
#include <string>

#include "device/device.hpp"
#include "device/fetch.hpp"
#include "net/server.hpp"

namespace obxd {

struct FetchDone {
    /// Looks at the fetched file on the job's thread; may turn the fetch into a failure. May be empty.
    std::function<void(Fetch&)> on_thread;
    /// Goes on with the fetched file, which is its own now, on the loop.
    std::function<void(const std::string& file, const Reply&)> on_loop;
};

/// Fetches what the request's URL, MD5 and FileSize say, without holding up the loop; every failure is
/// answered.
void start_fetch(Device& device, const Request& request, const FetchDone& done);

}  // namespace obxd
