// What becomes of the events that arrive.
#pragma once

#include "ox_jrpcapi.hpp"

/// The group of the events that tell changes of the data model.
inline constexpr uint32_t GROUP_MODEL_CHANGES = 4;

/// Queues a data-model change for the completion cache, prints any other event, drops what is no event.
void event_take(ox_jrpcmsg* message);
/// Tells, once, of events that were dropped before they could be taken. What is known of the instances is
/// then in doubt.
void events_tell_lost(void);
/// Tells that the connection of the joined groups was closed for a while; `joined`: they are joined again.
void events_tell_gap(bool joined);
/// Prints an event: its group and its params as indented JSON.
void event_print(ox_jrpcmsg* message);
