// Fetching a file from where a Download request says.
#pragma once

#include <stdint.h>

#include <string>

namespace obxd {

/// No file that is fetched may be longer.
constexpr uint64_t MAX_FETCH = uint64_t{256} * 1024 * 1024;

struct Fetch {
    // What to do.
    std::string url;
    std::string file;            ///< where to put it; created anew
    std::string md5;             ///< expected digest; "" for any
    int64_t expected_size = -1;  /// -1 for any
    // How it went.
    int code = 0;  ///< 0 or a fault code
    std::string detail;
};

/// 0, or the fault that the URL deserves before anything is fetched.
int fetch_check_url(const std::string& url, std::string& detail);

/// Fetches and verifies: blocks, so call it on a job's thread. On failure no file is left.
void fetch_run(Fetch& fetch);

}  // namespace obxd
