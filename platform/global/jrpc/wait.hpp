// Waiting for the daemon: until a deadline, with an ear for the other connections, and not in silence for
// long.
#pragma once

#include "connection.hpp"

/// A point in time, in milliseconds of the monotonic clock; NO_DEADLINE for none.
enum : long long { NO_DEADLINE = -1 };
/// -1: none.
long long deadline_after(int timeout_ms);
/// The same for an exchange: -1 is as long as a daemon may be silent (ox_jrpcapi_patience_ms).
long long deadline_of_exchange(int timeout_ms);
/// Whether it is over; false for none.
bool deadline_passed(long long deadline);

/// Names what the waits that follow are for, until patience_end: one that lasts is told to the hook. The text
/// must live that long.
void patience_begin(const char* what);
void patience_end(void);
/// Sets the hook of ox_jrpcapi_on_slow.
void patience_on_slow(void (*slow)(const char* what));

/// The same as ox_jrpcapi_patience_ms.
int patience_ms(void);

/// Waits for `events` (POLLIN, POLLOUT) on a descriptor: OX_SOCKET_OK, OX_SOCKET_ETIMEOUT or
/// OX_SOCKET_ESYSTEM.
int wait_until(int fd, short events, long long deadline);
/// The same on a connection's own descriptor, for an exchange: what arrives on the other connections
/// meanwhile is read in, so that the daemon never finds them full.
int wait_exchange(const ox_jrpcapi* api, short events, long long deadline);
