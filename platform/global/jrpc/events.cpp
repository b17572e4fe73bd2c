// Events: where they go when they arrive, and the one descriptor that tells of them.
//
// The common descriptor is an epoll instance over the process's connections and a counter that is raised
// while something waits inside the process. It is made when somebody first asks for it, so a program that
// never does pays nothing.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "connection.hpp"
#include "jrpcmsg_internal.hpp"
#include "ox_out.hpp"
#include "ox_raii.hpp"
#include "ox_wait.hpp"

namespace {

enum { QUEUE_BYTES_MAX = 8 << 20 };

/// An event that waits: its text, parsed again when it is taken (a tenth of the memory of the parsed form).
struct QueuedEvent {
    QueuedEvent* next;
    size_t size;
    uint32_t group;
    char text[];
};

struct EventQueue {
    QueuedEvent* first;
    QueuedEvent* last;
    size_t bytes;
    size_t lost;  // dropped since somebody asked
};

EventQueue queue;
bool printing = false;
int hub = -1;
int counter = -1;
bool counter_raised = false;

QueuedEvent* queue_take() {
    QueuedEvent* entry = queue.first;
    if (!entry) return nullptr;
    queue.first = entry->next;
    if (!queue.first) queue.last = nullptr;
    queue.bytes -= entry->size + sizeof(QueuedEvent);
    return entry;
}

/// The message of an event that was taken out, which is released.
ox_jrpcmsg* queued_message(QueuedEvent* entry) {
    ox_jrpcmsg* message = jrpcmsg_adopt(json_loadb(entry->text, entry->size, JSON_ALLOW_NUL, nullptr));
    free(entry);
    return message;
}

/// The oldest give way to an event of that cost.
void queue_make_room(size_t cost) {
    while (queue.first && queue.bytes + cost > QUEUE_BYTES_MAX) {
        free(queue_take());
        queue.lost++;
    }
}

/// Takes over nothing; `text` may be null.
void queue_add(const json_t* event, const char* text, size_t size) {
    char* dumped = text ? nullptr : json_dumps(event, JSON_COMPACT);
    if (dumped) {
        text = dumped;
        size = strlen(dumped);
    }
    size_t cost = size + sizeof(QueuedEvent);
    if (text) queue_make_room(cost);
    auto* entry = text ? static_cast<QueuedEvent*>(malloc(cost)) : nullptr;
    if (entry) {
        entry->next = nullptr;
        entry->size = size;
        entry->group = static_cast<uint32_t>(json_integer_value(json_object_get(event, "group")));
        memcpy(entry->text, text, size);
        (queue.last ? queue.last->next : queue.first) = entry;
        queue.last = entry;
        queue.bytes += cost;
    } else {
        queue.lost++;
    }
    free(dumped);
}

void print_event(const json_t* event) {
    printf("\nEVENT %zu:\n", static_cast<size_t>(json_integer_value(json_object_get(event, "group"))));
    json_t* params = json_object_get(event, "params");
    char* text = params ? json_dumps(params, JSON_INDENT(4) | JSON_ENCODE_ANY) : nullptr;
    if (text) ox_out_lines(text);
    free(text);
    fflush(stdout);
}

bool anybody_takes_events() {
    return ox_jrpcapi_events() != nullptr;
}

/// Something can be taken at once: an event, a message that was read already, or the loss of the events
/// connection itself.
bool something_waits() {
    if (queue.first) return true;
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

void events_deliver(const json_t* event, const char* text, size_t size) {
    if (printing) {
        print_event(event);
    } else if (anybody_takes_events()) {
        queue_add(event, text, size);
    }
}

ox_jrpcapi* ox_jrpcapi_events(void) {
    for (ox_jrpcapi* api = connections_first(); api; api = api->next) {
        if (api->flags & OX_JRPCAPI_EVENTS) return api;
    }
    return nullptr;
}

bool ox_jrpcapi_has_joined(uint32_t group) {
    for (ox_jrpcapi* api = connections_first(); api; api = api->next) {
        for (size_t i = 0; i < api->groups.count; ++i) {
            if (api->groups.items[i] == group) return true;
        }
    }
    return false;
}

void ox_jrpcapi_return_event(const json_t* event) {
    events_deliver(event, nullptr, 0);
    events_signal();
}

size_t ox_jrpcapi_take_lost_events(void) {
    size_t lost = queue.lost;
    queue.lost = 0;
    return lost;
}

void ox_jrpcapi_lose_event(void) {
    queue.lost++;
}

ox_jrpcmsg* events_pop(void) {
    QueuedEvent* entry = queue_take();
    return entry ? queued_message(entry) : nullptr;
}

int events_descriptor(void) {
    if (hub >= 0) return hub;
    int made = epoll_create1(EPOLL_CLOEXEC);
    counter = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (made < 0 || counter < 0) {
        if (made >= 0) close(made);
        if (counter >= 0) close(counter);
        return -1;
    }
    hub = made;
    hub_add(counter);
    for (ox_jrpcapi* api = connections_first(); api; api = api->next) events_watch(&api->socket);
    events_signal();
    return hub;
}

void events_watch(const ox_socket* socket) {
    if (hub >= 0 && socket->connected) hub_add(socket->fd);
}

void events_unwatch(const ox_socket* socket) {
    if (hub >= 0) epoll_ctl(hub, EPOLL_CTL_DEL, socket->fd, nullptr);
}

void events_shutdown(void) {
    while (QueuedEvent* entry = queue_take()) free(entry);
    queue.lost = 0;
    if (hub < 0) return;
    close(hub);
    close(counter);
    hub = counter = -1;
    counter_raised = false;
}

void events_signal(void) {
    if (hub < 0) return;
    bool wanted = something_waits();
    if (wanted == counter_raised) return;
    counter_raised = wanted;
    uint64_t value = 1;
    ssize_t done = wanted ? write(counter, &value, sizeof(value)) : read(counter, &value, sizeof(value));
    static_cast<void>(done);  // the counter is never full and never empty here
}

void ox_jrpcapi_print_events(bool on) {
    printing = on;
}

namespace {

/// Takes in what has been read; responses are late ones and dropped. On the events connection whatever else
/// comes is taken like an event.
int take_read(ox_jrpcapi* api) {
    bool events = (api->flags & OX_JRPCAPI_EVENTS) != 0 && !printing;
    int rc = OX_SOCKET_OK;
    while (json_t* json = connection_take(api, &rc, false)) {
        if (events && json_object_get(json, "method")) events_deliver(json, nullptr, 0);
        json_decref(json);
    }
    return rc;
}

/// Takes in all that has arrived on a connection.
int drain(ox_jrpcapi* api) {
    int rc = OX_SOCKET_OK;
    do {
        rc = take_read(api);
        if (rc != OX_SOCKET_EEMPTY && rc != OX_SOCKET_EPARTIAL) return rc;
        rc = connection_fill(api);
    } while (rc == OX_SOCKET_OK);
    return rc;
}

bool is_lost(int rc) {
    return rc != OX_SOCKET_OK && rc != OX_SOCKET_EEMPTY && rc != OX_SOCKET_EPARTIAL;
}

}  // namespace

void events_collect(const ox_jrpcapi* except) {
    for (ox_jrpcapi* api = connections_first(); api; api = api->next) {
        if (api != except && api->socket.connected) drain(api);
    }
}

void ox_jrpcapi_take_events(uint32_t group, void (*take)(ox_jrpcmsg* message)) {
    events_collect(nullptr);
    QueuedEvent** link = &queue.first;
    QueuedEvent* last = nullptr;
    while (QueuedEvent* entry = *link) {
        if (entry->group != group) {
            last = entry;
            link = &entry->next;
            continue;
        }
        *link = entry->next;
        queue.bytes -= entry->size + sizeof(QueuedEvent);
        MsgRef message(queued_message(entry));
        if (message) take(message);
    }
    queue.last = last;
    events_signal();
}

void events_collect_some(ox_jrpcapi* api) {
    if (connection_fill(api) == OX_SOCKET_OK) take_read(api);
}

int ox_jrpcapi_pump(int timeout_ms) {
    enum { ENTRIES_MAX = 16 };
    struct pollfd entries[ENTRIES_MAX];
    nfds_t count = 0;
    for (ox_jrpcapi* api = connections_first(); api && count < ENTRIES_MAX - 1; api = api->next) {
        if (api->socket.connected) entries[count++] = {api->socket.fd, POLLIN, 0};
    }
    nfds_t sockets = count;
    if (printing) entries[count++] = {STDOUT_FILENO, 0, 0};
    ox_wait_poll(entries, count, timeout_ms);
    if (printing && (entries[sockets].revents & POLLERR)) return 1;
    int result = OX_SOCKET_OK;
    for (ox_jrpcapi* api = connections_first(); api; api = api->next) {
        int rc = api->socket.connected ? drain(api) : api->error;
        if (is_lost(rc) && api->was_connected) result = rc;
    }
    events_signal();
    return printing && ferror(stdout) ? 1 : result;
}
