// Requests with their responses, on a connection that is made where there is none.
#pragma once

#include "connection.hpp"

/// Connects where the connection is not there; a reconnection restores login and groups. OX_SOCKET_OK or the
/// socket error, which is recorded.
int exchange_connect(ox_jrpcapi* api, long long deadline);
/// Sends a request and waits for its response, which ends up in the message, connecting first.
/// OX_SOCKET_OK or the socket error, which is recorded.
int exchange_run(ox_jrpcapi* api, ox_jrpcmsg* message, long long deadline);
/// Sends a request, as far as the socket takes it at once, and makes it the one underway. OX_SOCKET_OK, or a
/// socket error: nothing is underway then.
int exchange_begin(ox_jrpcapi* api, ox_jrpcmsg* message);
/// Waits until the response to the request underway is there. OX_SOCKET_OK or the socket error, which is
/// recorded; after OX_SOCKET_ETIMEOUT it is still underway.
int exchange_finish(ox_jrpcapi* api, long long deadline);
/// The request that logs in by name; `password` may be null. Null when memory runs out.
ox_jrpcmsg* exchange_login_message(const char* login, const char* password);
