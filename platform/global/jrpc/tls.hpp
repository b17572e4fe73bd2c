// TLS on a connected socket, with Mbed TLS. Nothing here is touched by a plain connection.
#pragma once

#include "socket.hpp"

/// Does the client's handshake on `socket` (its descriptor is connected and non-blocking) and leaves the
/// session in `socket->tls`, also when the wait is left by a jump. `host` is the name that the certificate
/// must carry; null: any. OX_SOCKET_OK, OX_SOCKET_ETLS with a text, OX_SOCKET_ETIMEOUT, or OX_SOCKET_ENOMEM.
int tls_handshake(ox_socket* socket, const char* host, long long deadline);
/// As socket_read and socket_write.
ssize_t tls_read(TlsSession* session, void* data, size_t size);
ssize_t tls_write(TlsSession* session, const void* data, size_t size);
bool tls_has_pending(const TlsSession* session);
void tls_free(TlsSession* session);
