// Events inside the library: where they go when they arrive.
#pragma once

#include "ox_jrpcevents.hpp"

/// Hands an event on: printed, queued, or dropped while nobody takes events. Takes over nothing. `text` is
/// its JSON text of `size` bytes, or null.
void events_deliver(const json_t* event, const char* text, size_t size);
/// Takes in the events of all connections but one (null: of all).
void events_collect(const ox_jrpcapi* except);
/// Takes in what one read of a connection gives; responses are late ones and dropped.
void events_collect_some(ox_jrpcapi* api);
/// With the last connection go the common descriptor and the queue.
void events_shutdown(void);
