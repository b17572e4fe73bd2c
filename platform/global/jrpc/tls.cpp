#include "tls.hpp"

struct TlsSession {};

int tls_handshake(ox_socket* /*socket*/, const char* /*host*/, long long /*deadline*/) {
    return socket_failure(OX_SOCKET_ETLS, "TLS is not available");
}

ssize_t tls_read(TlsSession* /*session*/, void* /*data*/, size_t /*size*/) {
    return OX_SOCKET_ETLS;
}

ssize_t tls_write(TlsSession* /*session*/, const void* /*data*/, size_t /*size*/) {
    return OX_SOCKET_ETLS;
}

bool tls_has_pending(const TlsSession* /*session*/) {
    return false;
}

void tls_free(TlsSession* /*session*/) {}
