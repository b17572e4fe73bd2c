// A change that is taken back unless it is confirmed in time.
#pragma once

#include <stdint.h>

#include <string>

namespace obxd {

/// The one that is open, or was last.
struct OpenChange {
    enum State { NONE, OPEN, CONFIRMED, TAKEN_BACK } state = NONE;
    std::string id;
    std::string owner;       ///< the user that began it
    uint64_t client = 0;     ///< the connection that it was begun on
    int64_t until = 0;       ///< when it is taken back (ms)
    const char* cause = "";  ///< why it was taken back
};

}  // namespace obxd
