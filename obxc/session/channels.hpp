// The connections with the daemon.
#pragma once

#include "ox_jrpcapi.hpp"

/// The connection of all requests, and the one on which events are taken in.
extern ox_jrpcapi* request_channel;
extern ox_jrpcapi* event_channel;
/// Bound of raw requests, in milliseconds; -1: none.
extern int request_timeout_ms;
/// Cleared when the connection is gone for good: the loops end.
extern bool running;
