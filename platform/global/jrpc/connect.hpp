// Connecting a socket to the text of a destination.
#pragma once

#include "socket.hpp"

/// Connects the socket, with TLS on top where asked for, until the deadline (wait.hpp); the descriptor is
/// recorded at once, `connected` set at the end. `kind` (an ox_socket_kind) applies to a text without scheme.
/// OX_SOCKET_OK or the socket error; then the socket is closed.
int socket_connect(ox_socket* socket, const char* destination, int kind, bool tls, long long deadline);
