#include "socket.hpp"

#include <errno.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/un.h>
#include <unistd.h>

#include "hub.hpp"
#include "ox_wait.hpp"
#include "socket_error.hpp"
#include "tls.hpp"
#include "wait.hpp"

int ox_socket_fd(const ox_socket* socket) {
    if (!socket || !socket->connected) return -1;
    return socket->events ? hub_descriptor() : socket->fd;
}

const char* ox_socket_strerror(int code) {
    return socket_error_text(code);
}

int ox_socket_type(const ox_socket* socket) {
    return socket ? socket->kind : 0;
}

namespace {

/// A mapped IPv4 address as the plain one: servers bind to it by its family.
void unmap_address(struct sockaddr_storage* address, socklen_t* size) {
    struct sockaddr_in6 mapped;
    if (address->ss_family != AF_INET6) return;
    memcpy(&mapped, address, sizeof(mapped));
    if (!IN6_IS_ADDR_V4MAPPED(&mapped.sin6_addr)) return;
    struct sockaddr_in plain = {};
    plain.sin_family = AF_INET;
    plain.sin_port = mapped.sin6_port;
    memcpy(&plain.sin_addr, &mapped.sin6_addr.s6_addr[12], sizeof(plain.sin_addr));
    memset(address, 0, sizeof(*address));
    memcpy(address, &plain, sizeof(plain));
    *size = sizeof(plain);
}

}  // namespace

const struct sockaddr* ox_socket_get_addr(ox_socket* socket) {
    if (!socket || socket->fd < 0) return nullptr;
    socklen_t size = sizeof(socket->address);
    memset(&socket->address, 0, sizeof(socket->address));
    socket->address_size = 0;
    if (getsockname(socket->fd, reinterpret_cast<struct sockaddr*>(&socket->address), &size) != 0) {
        return nullptr;
    }
    if (size <= sizeof(sa_family_t)) return nullptr;  // a local socket without a name
    unmap_address(&socket->address, &size);
    socket->address_size = size;
    return reinterpret_cast<const struct sockaddr*>(&socket->address);
}

socklen_t ox_socket_addrsize(const ox_socket* socket) {
    if (!socket) return 0;
    if (socket->address_size == 0) ox_socket_get_addr(const_cast<ox_socket*>(socket));
    return socket->address_size;
}

ox_socket* ox_socket_new(int kind) {
    if (kind != OX_SOCKET_LOCAL && kind != OX_SOCKET_TCP) return nullptr;
    auto* created = static_cast<ox_socket*>(calloc(1, sizeof(ox_socket)));
    if (!created) return nullptr;
    int family = kind == OX_SOCKET_LOCAL ? AF_UNIX : AF_INET;
    created->kind = kind;
    created->connected = true;
    created->fd = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (created->fd >= 0) return created;
    socket_error_of(errno);
    free(created);
    return nullptr;
}

int ox_socket_bind(ox_socket* socket, const struct sockaddr* address, socklen_t size) {
    if (bind(socket->fd, address, size) == 0) return OX_SOCKET_OK;
    return socket_error_of(errno);
}

int ox_socket_listen(ox_socket* socket, int backlog) {
    if (listen(socket->fd, backlog) == 0) return OX_SOCKET_OK;
    return socket_error_of(errno);
}

// These three run on the thread that serves a file, so they poll by themselves: the hooks of ox_wait_poll
// belong to the main thread.
int ox_socket_wait(ox_socket* socket, int read, int timeout_ms) {
    struct pollfd entry = {socket->fd, static_cast<short>(read ? POLLIN : POLLOUT), 0};
    long long deadline = deadline_after(timeout_ms);
    for (;;) {
        long long left = deadline == NO_DEADLINE ? -1 : deadline - ox_wait_now_ms();
        if (deadline != NO_DEADLINE && left < 0) left = 0;
        int result = poll(&entry, 1, static_cast<int>(left));
        if (result >= 0) return result;
        if (errno != EINTR) return socket_error_of(errno);
    }
}

ox_socket* ox_socket_accept(ox_socket* socket) {
    auto* accepted = static_cast<ox_socket*>(calloc(1, sizeof(ox_socket)));
    if (!accepted) return nullptr;
    do {
        accepted->fd = accept4(socket->fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    } while (accepted->fd < 0 && errno == EINTR);
    accepted->kind = socket->kind;
    accepted->connected = true;
    if (accepted->fd >= 0) return accepted;
    socket_error_of(errno);
    free(accepted);
    return nullptr;
}

ssize_t ox_socket_send(ox_socket* socket, const void* data, size_t size) {
    enum { STALL_MS = 10000 };
    const char* bytes = static_cast<const char*>(data);
    size_t sent = 0;
    while (sent < size) {
        ssize_t count = send(socket->fd, bytes + sent, size - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count > 0) {
            sent += static_cast<size_t>(count);
        } else if (count < 0 && errno == EINTR) {
            continue;
        } else if ((count < 0 && errno != EAGAIN) || ox_socket_wait(socket, 0, STALL_MS) <= 0) {
            return sent > 0 ? static_cast<ssize_t>(sent) : -1;
        }
    }
    return static_cast<ssize_t>(sent);
}

void ox_socket_free(ox_socket* socket) {
    if (!socket) return;
    socket_close(socket);
    free(socket);
}

void socket_close(ox_socket* socket) {
    if (socket->tls) tls_free(socket->tls);
    if (socket->fd >= 0) {
        hub_unwatch(socket);
        close(socket->fd);
    }
    socket->fd = -1;
    socket->connected = false;
    socket->tls = nullptr;
    socket->address_size = 0;
}

ssize_t socket_read(ox_socket* socket, void* data, size_t size) {
    if (socket->tls) return tls_read(socket->tls, data, size);
    ssize_t count = 0;
    do {
        count = recv(socket->fd, data, size, MSG_DONTWAIT);
    } while (count < 0 && errno == EINTR);
    if (count > 0) return count;
    if (count == 0) return OX_SOCKET_ECLOSED;
    return errno == EAGAIN ? static_cast<int>(OX_SOCKET_EEMPTY) : socket_error_of(errno);
}

ssize_t socket_write(ox_socket* socket, const void* data, size_t size) {
    if (socket->tls) return tls_write(socket->tls, data, size);
    ssize_t count = 0;
    do {
        count = send(socket->fd, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    } while (count < 0 && errno == EINTR);
    if (count >= 0) return count;
    return errno == EAGAIN ? static_cast<int>(OX_SOCKET_EEMPTY) : socket_error_of(errno);
}

bool socket_has_pending(const ox_socket* socket) {
    return socket->tls && tls_has_pending(socket->tls);
}
