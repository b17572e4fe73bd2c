// Messages in and out of a connection's buffers.
#pragma once

#include "connection.hpp"

/// Closes the connection, drops its bytes and records the error, which is returned.
int stream_fail(ox_jrpcapi* api, int error);
/// Reads once what has arrived: OX_SOCKET_OK, OX_SOCKET_EEMPTY, or the error with which the connection was
/// closed.
int stream_fill(ox_jrpcapi* api);
/// Takes the next whole message that has been read: its JSON (a new reference), or null with
/// OX_SOCKET_EEMPTY, OX_SOCKET_EPARTIAL or the error with which the connection was closed. Events go where
/// events go, unless they are kept: then they are taken like other messages. Objects that are no messages are
/// dropped. The id of a response is no longer unanswered; that of the request underway ends up in its
/// message.
json_t* stream_take(ox_jrpcapi* api, int* error, bool keep_events);
/// Drops what an abandoned exchange left unsent, except the rest of a message that was begun, and adds the
/// message with its newline. OX_SOCKET_OK, or OX_SOCKET_EPROTO when it cannot be sent (too long).
int stream_add(ox_jrpcapi* api, const ox_jrpcmsg* message);
/// Sends what the socket takes at once: OX_SOCKET_OK when nothing is left, OX_SOCKET_EEMPTY, or the error
/// with which the connection was closed.
int stream_push(ox_jrpcapi* api);
/// Sends all that is to be sent, until the deadline (wait.hpp).
int stream_flush(ox_jrpcapi* api, long long deadline);
