#include "jrpcevents.hpp"

#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "connection.hpp"
#include "event_queue.hpp"
#include "hub.hpp"
#include "ox_out.hpp"
#include "ox_out_buffer.hpp"
#include "ox_wait.hpp"
#include "stream.hpp"
#include "wait.hpp"

namespace {

enum { SWEEP_MS = 100, SLICE_MS = 2 };

bool printing = false;

void print_event(const json_t* event) {
    printf("\nEVENT %zu:\n", static_cast<size_t>(json_integer_value(json_object_get(event, "group"))));
    json_t* params = json_object_get(event, "params");
    char* text = params ? json_dumps(params, JSON_INDENT(4) | JSON_ENCODE_ANY) : nullptr;
    if (text) ox_out_lines(text);
    free(text);
    ox_out_push();
}

bool anybody_takes_events() {
    return ox_jrpcapi_events() != nullptr;
}

}  // namespace

void events_deliver(const json_t* event, const char* text, size_t size) {
    if (printing) {
        print_event(event);
    } else if (anybody_takes_events()) {
        event_queue_add(event, text, size);
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
        if (connection_is_in_group(api, group)) return true;
    }
    return false;
}

bool ox_jrpcapi_groups_lost(const ox_jrpcapi* api) {
    return api->groups_lost;
}

int ox_jrpcapi_rejoin(ox_jrpcapi* api) {
    int rc = ox_jrpcapi_connect(api);
    api->groups_lost = false;
    return rc;
}

void ox_jrpcapi_return_event(const json_t* event) {
    events_deliver(event, nullptr, 0);
    hub_signal();
}

size_t ox_jrpcapi_take_lost_events(void) {
    return event_queue_take_lost();
}

void ox_jrpcapi_lose_event(void) {
    event_queue_lose();
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
    while (json_t* json = stream_take(api, &rc, false)) {
        if (events && json_object_get(json, "method")) events_deliver(json, nullptr, 0);
        json_decref(json);
    }
    return rc;
}

/// Takes in all that has arrived on a connection, or SWEEP_MS's worth of what does not end. Keys may wait for
/// their turn while the answer that nobody waits for comes in, and it may be long: a slice of it.
int drain(ox_jrpcapi* api) {
    int most_ms = api->underway ? SLICE_MS : SWEEP_MS;
    long long end = 0;
    for (;;) {
        int rc = take_read(api);
        if (rc != OX_SOCKET_EEMPTY && rc != OX_SOCKET_EPARTIAL) return rc;
        rc = stream_fill(api);
        if (rc != OX_SOCKET_OK) return rc;
        if (end == 0) end = deadline_after(most_ms);
        if (deadline_passed(end)) return take_read(api);
    }
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

void events_collect_some(ox_jrpcapi* api) {
    if (stream_fill(api) == OX_SOCKET_OK) take_read(api);
}

void events_shutdown(void) {
    event_queue_clear();
    hub_close();
}

void ox_jrpcapi_take_events(uint32_t group, void (*take)(ox_jrpcmsg* message)) {
    events_collect(nullptr);
    event_queue_take(group, take);
    hub_signal();
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
    hub_signal();
    return printing && ferror(stdout) ? 1 : result;
}
