// The request of a connection whose response nobody waits for: it is taken in whenever it is read.
#pragma once

#include "connection.hpp"

/// The message keeps what a response (borrowed) says, if it is the one to the request underway.
bool underway_take(ox_jrpcapi* api, const json_t* response);
/// Ends it without a response: the error (OX_SOCKET_OK: the connection was given up) is recorded in its
/// message.
void underway_fail(ox_jrpcapi* api, int error);
