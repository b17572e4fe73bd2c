// How much the daemon bears of its clients: what options set, and what is fixed.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace obxd {

/// The longest message either side may send, in bytes.
constexpr size_t MAX_MESSAGE = size_t{64} * 1024 * 1024;

/// The bounds that options set.
struct Bounds {
    int connections = 256;   ///< of all clients
    int guests = 0;          ///< of those who have not logged in; 0: half of all
    int per_source = 0;      ///< of one address, or user of the host; 0: a quarter of all
    int guest_idle_s = 300;  ///< without a message, for who has not logged in; 0: no bound
};

/// Of all connections so many are kept for local root: a sixteenth, but one at least.
constexpr int ROOT_SHARE = 16;
/// Who was heard of so recently does not make room for others.
constexpr int64_t FRESH_MS = 1000;
/// Descriptors that the daemon needs beside those of its connections.
constexpr int OTHER_DESCRIPTORS = 96;
/// How long nobody is accepted while there are no descriptors.
constexpr int64_t EXHAUSTED_MS = 100;

/// What one client may have done in a turn of the loop, and all guests, and all users, together. One message
/// each is served in any case.
constexpr int64_t CLIENT_TURN_MS = 10;
constexpr int64_t CLASS_TURN_MS = 20;

}  // namespace obxd
