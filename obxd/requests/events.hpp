// Events: what is told to the clients of a group.
#pragma once

#include <jansson.h>
#include <stdint.h>

#include "requests/requests.hpp"

namespace obxd {

/// Groups of the daemon's own events.
enum EventGroup : uint32_t { GROUP_VALUES = 1, GROUP_DEVICE = 2, GROUP_MODEL = 4 };

/// Sends an event to all connections in the group, `except` the one with that id (0: nobody). Takes over
/// `params`.
void events_emit(Requests& requests, uint32_t group, json_t* params, uint64_t except = 0);

/// Tells of a change in the store.
void events_change(Requests& requests, const Change& change);

}  // namespace obxd
