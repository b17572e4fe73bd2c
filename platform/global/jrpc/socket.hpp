// A socket of the process's own kind, with the bytes that go through it: plain or TLS.
#pragma once

#include <sys/socket.h>
#include <sys/types.h>

#include "ox_socket.hpp"

struct TlsSession;

/// A wait may be left by a jump, so the record is in order before each: a socket that is not yet connected
/// says so.
struct ox_socket {
    int fd;
    int kind;         ///< ox_socket_kind
    bool connected;   ///< ready for messages; false while a connect or handshake is under way
    bool events;      ///< its descriptor is the one of all events
    TlsSession* tls;  ///< null on a plain connection
    struct sockaddr_storage address;
    socklen_t address_size;
};

/// Closes what is open and leaves an unconnected socket.
void socket_close(ox_socket* socket);
/// Bytes taken or given, or a negative socket error: OX_SOCKET_EEMPTY when the call would block. The end of
/// the stream is OX_SOCKET_ECLOSED.
ssize_t socket_read(ox_socket* socket, void* data, size_t size);
ssize_t socket_write(ox_socket* socket, const void* data, size_t size);
/// Decrypted bytes are waiting inside although the descriptor may not be readable.
bool socket_has_pending(const ox_socket* socket);
