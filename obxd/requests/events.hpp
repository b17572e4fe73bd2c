// Events: what is told to the clients of a group.
#pragma once

#include <jansson.h>
#include <stdint.h>

#include "requests/requests.hpp"

namespace obxd {

/// Groups of the daemon's own events.
enum EventGroup : uint32_t { GROUP_VALUES = 1, GROUP_DEVICE = 2, GROUP_MODEL = 4 };

/// Sends an event to all connections in the group, `except` the one with that id (0: nobody). Takes over
/// `params`. Who has too much to read already is closed; where clients send events of the model's group,
/// those are lost to it instead.
void events_emit(Requests& requests, uint32_t group, json_t* params, uint64_t except = 0);

/// Tells of a change in the store. Who has too much to read already is told of instances later, by
/// events_owed: of those that came or went since, not of those that did both.
void events_change(Requests& requests, const Change& change);
void events_owed(Requests& requests, Connection& c);

}  // namespace obxd
