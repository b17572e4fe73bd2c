// Sockets of the client library: its connections, and the small TCP server of file transfers.
#pragma once

#include <stddef.h>
#include <sys/socket.h>
#include <sys/types.h>

struct ox_socket;

enum ox_socket_kind { OX_SOCKET_LOCAL = 2, OX_SOCKET_TCP = 4 };

/// Socket errors. Zero is connected and no error.
enum ox_socket_error {
    OX_SOCKET_OK = 0,
    OX_SOCKET_ESYSTEM = -1,       ///< any other system error
    OX_SOCKET_ENOMEM = -2,        ///< out of memory
    OX_SOCKET_EDESTINATION = -3,  ///< bad destination text, or a name that does not resolve
    OX_SOCKET_EREFUSED = -4,      ///< connection refused
    OX_SOCKET_ENOENT = -5,        ///< no such socket
    OX_SOCKET_EACCES = -6,        ///< permission denied
    OX_SOCKET_ECLOSED = -7,    ///< closed, reset or unwritable: connecting and sending again is worth a try
    OX_SOCKET_EEMPTY = -8,     ///< nothing to read yet
    OX_SOCKET_ETLS = -9,       ///< TLS failure
    OX_SOCKET_EPROTO = -10,    ///< broken message
    OX_SOCKET_ETIMEOUT = -11,  ///< the time-out passed before the response came
    OX_SOCKET_EPARTIAL = -13,  ///< a part of a message is there, the rest is not yet
};

/// The descriptor, -1 while unconnected or for a null socket; for the events connection, whose descriptor
/// tells of all connections, also with errno where that cannot be made.
int ox_socket_fd(const ox_socket* socket);
/// OX_SOCKET_LOCAL or OX_SOCKET_TCP; 0 for a null socket.
int ox_socket_type(const ox_socket* socket);
/// A text for a socket error, never null. For -1, -9 and -10 it is the text of the last such failure in this
/// process.
const char* ox_socket_strerror(int code);

/// The socket's own local address, null when it has none. Valid until the socket is freed.
const struct sockaddr* ox_socket_get_addr(ox_socket* socket);
socklen_t ox_socket_addrsize(const ox_socket* socket);

/// An unbound socket of a kind (the enumeration above), or null. The caller frees it.
ox_socket* ox_socket_new(int kind);
/// 0, or a negative socket error.
int ox_socket_bind(ox_socket* socket, const struct sockaddr* address, socklen_t size);
int ox_socket_listen(ox_socket* socket, int backlog);
/// Waits until the socket is readable (`read` 1) or writable (`read` 0): positive; 0 on time-out; negative on
/// failure.
int ox_socket_wait(ox_socket* socket, int read, int timeout_ms);
/// The accepted connection (the caller frees it), or null.
ox_socket* ox_socket_accept(ox_socket* socket);
/// Sends until all bytes are out or the peer fails or takes none for 10 seconds. Returns the bytes sent, or
/// -1.
ssize_t ox_socket_send(ox_socket* socket, const void* data, size_t size);
/// Closes and frees. Null-safe.
void ox_socket_free(ox_socket* socket);
