// Events of the daemon, on whichever of the process's connections they arrive.
#pragma once

#include "ox_jrpcapi.hpp"

/// Hands all events of a group that have arrived on the process's connections to `take`, oldest first,
/// without waiting; the message is released behind it. Other events stay for ox_jrpcapi_recv, in their order.
void ox_jrpcapi_take_events(uint32_t group, void (*take)(ox_jrpcmsg* message));

/// The connection with OX_JRPCAPI_EVENTS, or null.
ox_jrpcapi* ox_jrpcapi_events(void);
/// Whether one of the process's connections has joined the group.
bool ox_jrpcapi_has_joined(uint32_t group);
/// Whether the connection was closed after it had joined groups: until it is there again their events do not
/// come. Stays so until ox_jrpcapi_rejoin.
bool ox_jrpcapi_groups_lost(const ox_jrpcapi* api);
/// Connects again, once, unless an exchange has done so, and forgets the loss either way. The connection's
/// time-out bounds it. Returns 0 when the groups are joined again, or the negative socket error.
int ox_jrpcapi_rejoin(ox_jrpcapi* api);
/// Puts an event (its JSON, borrowed) that was taken behind the queue again, for another reader.
void ox_jrpcapi_return_event(const json_t* event);
/// Events are read in during exchanges too. Of those that wait to be taken the newest 4 MiB are kept: how
/// many older ones were dropped since the last call.
size_t ox_jrpcapi_take_lost_events(void);
/// Counts an event that its holder had to drop.
void ox_jrpcapi_lose_event(void);

/// Listen mode: each event that arrives on any connection is written to standard output at once ("\nEVENT
/// %zu:\n" and its params as indented JSON) instead of being queued.
void ox_jrpcapi_print_events(bool on);
/// Reads what has arrived on all connections, for a program that only listens, waiting at most `timeout_ms`.
/// Returns 0, 1 when events are printed and nobody reads standard output any more, or the negative socket
/// error of a connection that was lost.
int ox_jrpcapi_pump(int timeout_ms);
