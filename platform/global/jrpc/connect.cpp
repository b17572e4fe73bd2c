#include "connect.hpp"

#include <errno.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/un.h>
#include <unistd.h>

#include "addresses.hpp"
#include "ox_string.hpp"
#include "ox_wait.hpp"
#include "socket_error.hpp"
#include "tls.hpp"
#include "wait.hpp"

namespace {

struct TcpDestination {
    char host[256];
    char port[8];
};

/// Reads "HOST:PORT" or "[IPv6]:PORT".
bool parse_tcp(const char* text, TcpDestination* out) {
    const char* colon = strrchr(text, ':');
    uint64_t port = 0;
    if (!colon || ox_string_strntoul(colon + 1, -1, 10, &port) != 0 || port == 0 || port > 65535)
        return false;
    const char* host = text;
    size_t length = static_cast<size_t>(colon - text);
    if (host[0] == '[') {
        if (length < 3 || host[length - 1] != ']') return false;
        ++host;
        length -= 2;
    } else if (memchr(host, ':', length)) {
        return false;
    }
    if (length == 0 || length >= sizeof(out->host)) return false;
    memcpy(out->host, host, length);
    out->host[length] = '\0';
    snprintf(out->port, sizeof(out->port), "%u", static_cast<unsigned>(port));
    return true;
}

/// A socket of a family, recorded in `target`.
int open_socket(ox_socket* target, int family) {
    socket_close(target);
    target->fd = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    return target->fd >= 0 ? static_cast<int>(OX_SOCKET_OK) : socket_error_of(errno);
}

/// A full backlog of a local socket is no failure before the deadline.
int connect_local(ox_socket* target, const char* path, long long deadline) {
    enum { RETRY_MS = 10 };
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    size_t length = strlen(path);
    if (length == 0 || length >= sizeof(address.sun_path)) return OX_SOCKET_EDESTINATION;
    memcpy(address.sun_path, path, length + 1);
    target->kind = OX_SOCKET_LOCAL;
    int rc = open_socket(target, AF_UNIX);
    if (rc != OX_SOCKET_OK) return rc;
    for (;;) {
        if (connect(target->fd, reinterpret_cast<struct sockaddr*>(&address), sizeof(address)) == 0) {
            return OX_SOCKET_OK;
        }
        if (errno == EINTR) continue;
        if (errno != EAGAIN) return socket_error_of(errno);
        if (deadline != NO_DEADLINE && ox_wait_now_ms() >= deadline) return OX_SOCKET_ETIMEOUT;
        ox_wait_sleep_ms(RETRY_MS);
    }
}

int connect_address(ox_socket* target, const HostAddress* to, long long deadline) {
    int rc = open_socket(target, to->address.ss_family);
    if (rc != OX_SOCKET_OK) return rc;
    if (connect(target->fd, reinterpret_cast<const struct sockaddr*>(&to->address), to->size) != 0) {
        if (errno != EINPROGRESS && errno != EINTR) return socket_error_of(errno);
        rc = wait_until(target->fd, POLLOUT, deadline);
        if (rc != OX_SOCKET_OK) return rc;
        int error = 0;
        socklen_t size = sizeof(error);
        getsockopt(target->fd, SOL_SOCKET, SO_ERROR, &error, &size);
        if (error != 0) return socket_error_of(error);
    }
    int on = 1;
    setsockopt(target->fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    setsockopt(target->fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof(on));
    int idle_s = 30;
    setsockopt(target->fd, IPPROTO_TCP, TCP_KEEPIDLE, &idle_s, sizeof(idle_s));
    return OX_SOCKET_OK;
}

/// Tries each address that the name has.
int connect_tcp(ox_socket* target, const TcpDestination* destination, long long deadline) {
    target->kind = OX_SOCKET_TCP;
    HostAddresses found;
    int rc = addresses_find(destination->host, destination->port, deadline, &found);
    if (rc != OX_SOCKET_OK) return rc;
    for (unsigned i = 0; i < found.count; ++i) {
        rc = connect_address(target, &found.list[i], deadline);
        if (rc == OX_SOCKET_OK) break;
    }
    return rc;
}

int connect_plain(ox_socket* target, const char* text, int kind, TcpDestination* tcp, long long deadline) {
    static const char scheme[] = "tcp://";
    bool has_scheme = strncmp(text, scheme, sizeof(scheme) - 1) == 0;
    if (!has_scheme && kind != OX_SOCKET_TCP) return connect_local(target, text, deadline);
    if (!parse_tcp(has_scheme ? text + sizeof(scheme) - 1 : text, tcp)) return OX_SOCKET_EDESTINATION;
    return connect_tcp(target, tcp, deadline);
}

}  // namespace

int socket_connect(ox_socket* socket, const char* destination, int kind, bool tls, long long deadline) {
    TcpDestination tcp = {};
    int rc = connect_plain(socket, destination, kind, &tcp, deadline);
    if (rc == OX_SOCKET_OK && tls) {
        rc = tls_handshake(socket, socket->kind == OX_SOCKET_TCP ? tcp.host : nullptr, deadline);
    }
    if (rc != OX_SOCKET_OK) {
        socket_close(socket);
        return rc;
    }
    socket->connected = true;
    return OX_SOCKET_OK;
}
