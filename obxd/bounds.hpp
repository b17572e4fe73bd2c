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

/// What clients may take up in memory together, by who they are. Beside that each has a little of its own.
struct Share {
    size_t input;   ///< bytes of messages that are not whole yet
    size_t output;  ///< bytes of answers that are not read
    size_t values;  ///< in one message; each takes up to 250 bytes
};
constexpr size_t MIB = size_t{1024} * 1024;
constexpr Share GUESTS_SHARE = {80 * MIB, 80 * MIB, 100000};
constexpr Share USERS_SHARE = {128 * MIB, 128 * MIB, 400000};
constexpr Share ADMINISTRATORS_SHARE = {256 * MIB, 256 * MIB, 1000000};
/// Of each connection's own: half a message, answers that are not read (beyond that it is not served), events
/// that are not read (those it may have whatever others have).
constexpr size_t OWN_INPUT = size_t{64} * 1024;
constexpr size_t OWN_OUTPUT = size_t{256} * 1024;
constexpr size_t OWN_EVENTS = size_t{256} * 1024;
/// Events that are not read, before one more: of a connection; of all, one counted for each that gets it.
constexpr size_t CLIENT_EVENTS = 8 * MIB;
constexpr size_t ALL_EVENTS = 64 * MIB;
/// The memory of events, which may each be as long as a message; one that several get counts once.
constexpr size_t EVENTS_SHARE = 80 * MIB;
/// What it takes to take an open change back.
constexpr size_t CHANGE_SHARE = 16 * MIB;
/// What took more memory than this has it given back to the system.
constexpr size_t LARGE = MIB;

}  // namespace obxd
