#include "hub.hpp"

#include <errno.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "connection.hpp"
#include "event_queue.hpp"

namespace {

int hub = -1;
int counter = -1;
bool counter_raised = false;

/// Something can be taken at once: an event, a message that was read already, or the loss of the events
/// connection itself.
bool something_waits() {
    if (!event_queue_is_empty()) return true;
    for (ox_jrpcapi* api = connections_first(); api; api = api->next) {
        bool events = (api->flags & OX_JRPCAPI_EVENTS) != 0;
        if (events && api->was_connected && !api->socket.connected) return true;
        if (!api->socket.connected) continue;
        int found = frame_find(&api->in);
        if (found == OX_SOCKET_OK || found == OX_SOCKET_EPROTO || socket_has_pending(&api->socket))
            return true;
    }
    return false;
}

void hub_add(int fd) {
    struct epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = fd;
    epoll_ctl(hub, EPOLL_CTL_ADD, fd, &event);
}

}  // namespace

int hub_descriptor(void) {
    if (hub >= 0) return hub;
    int made = epoll_create1(EPOLL_CLOEXEC);
    if (made < 0) return -1;
    counter = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (counter < 0) {
        int error = errno;
        close(made);
        errno = error;
        return -1;
    }
    hub = made;
    hub_add(counter);
    for (ox_jrpcapi* api = connections_first(); api; api = api->next) hub_watch(&api->socket);
    hub_signal();
    return hub;
}

void hub_watch(const ox_socket* socket) {
    if (hub >= 0 && socket->connected) hub_add(socket->fd);
}

void hub_unwatch(const ox_socket* socket) {
    if (hub >= 0) epoll_ctl(hub, EPOLL_CTL_DEL, socket->fd, nullptr);
}

void hub_signal(void) {
    if (hub < 0) return;
    bool wanted = something_waits();
    if (wanted == counter_raised) return;
    counter_raised = wanted;
    uint64_t value = 1;
    ssize_t done = wanted ? write(counter, &value, sizeof(value)) : read(counter, &value, sizeof(value));
    static_cast<void>(done);  // the counter is never full and never empty here
}

void hub_close(void) {
    if (hub < 0) return;
    close(hub);
    close(counter);
    hub = counter = -1;
    counter_raised = false;
}
