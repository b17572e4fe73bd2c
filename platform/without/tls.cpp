// In the place of platform/global/jrpc/tls.cpp where TLS is left out: there are no sessions.
#include "../global/jrpc/tls.hpp"

#include "../global/jrpc/socket_error.hpp"

int tls_handshake(ox_socket*, const char*, long long) {
    return socket_failure(OX_SOCKET_ETLS, "this obxc was built without TLS");
}

ssize_t tls_read(TlsSession*, void*, size_t) {
    return OX_SOCKET_ECLOSED;
}

ssize_t tls_write(TlsSession*, const void*, size_t) {
    return OX_SOCKET_ECLOSED;
}

bool tls_has_pending(const TlsSession*) {
    return false;
}

void tls_free(TlsSession*) {}
