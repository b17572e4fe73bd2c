#include "wait.hpp"

#include <errno.h>
#include <poll.h>
#include <stdlib.h>

#include "jrpcevents.hpp"
#include "ox_string.hpp"
#include "ox_wait.hpp"
#include "socket_error.hpp"

namespace {

enum { SLOW_MS = 2000, CONNECTIONS_MAX = 8 };

void (*slow_hook)(const char* what) = nullptr;

/// The operation that waits, as it is told of.
struct Patience {
    const char* what;  // null: nothing is told
    long long end;     // when it is told
    bool told;
};
Patience patience;

int milliseconds_until(long long deadline) {
    if (deadline == NO_DEADLINE) return -1;
    long long left = deadline - ox_wait_now_ms();
    return left <= 0 ? 0 : static_cast<int>(left);
}

/// Whether the patience ends before the deadline, and is still to end.
bool will_tell(long long deadline) {
    if (!slow_hook || !patience.what || patience.told) return false;
    return deadline == NO_DEADLINE || patience.end < deadline;
}

/// Waits for one of the entries: OX_SOCKET_OK, OX_SOCKET_ETIMEOUT or OX_SOCKET_ESYSTEM.
int poll_until(struct pollfd* entries, nfds_t count, long long deadline) {
    for (;;) {
        bool tells = will_tell(deadline);
        int result = ox_wait_poll(entries, count, milliseconds_until(tells ? patience.end : deadline));
        if (result > 0) return OX_SOCKET_OK;
        if (result < 0 && errno != EINTR) return socket_error_of(errno);
        if (result == 0 && !tells) return OX_SOCKET_ETIMEOUT;
        if (result == 0) {
            patience.told = true;
            slow_hook(patience.what);
        }
    }
}

}  // namespace

void patience_on_slow(void (*slow)(const char* what)) {
    slow_hook = slow;
}

void patience_begin(const char* what) {
    patience = {what, slow_hook ? ox_wait_now_ms() + SLOW_MS : 0, false};
}

void patience_end(void) {
    bool told = patience.told;
    patience = {};
    if (told && slow_hook) slow_hook(nullptr);
}

long long deadline_after(int timeout_ms) {
    return timeout_ms < 0 ? static_cast<long long>(NO_DEADLINE) : ox_wait_now_ms() + timeout_ms;
}

int patience_ms(void) {
    enum { USUAL_S = 60, MOST_S = 1000000 };
    static int patience_s = 0;
    if (patience_s > 0) return patience_s * 1000;
    const char* text = getenv("OBX_PATIENCE");
    uint64_t seconds = 0;
    bool given = text && ox_string_strntoul(text, -1, 10, &seconds) == 0 && seconds > 0;
    patience_s = USUAL_S;
    if (given) patience_s = seconds < MOST_S ? static_cast<int>(seconds) : static_cast<int>(MOST_S);
    return patience_s * 1000;
}

long long deadline_of_exchange(int timeout_ms) {
    return deadline_after(timeout_ms < 0 ? patience_ms() : timeout_ms);
}

bool deadline_passed(long long deadline) {
    return deadline != NO_DEADLINE && ox_wait_now_ms() >= deadline;
}

int wait_until(int fd, short events, long long deadline) {
    struct pollfd entry = {fd, events, 0};
    return poll_until(&entry, 1, deadline);
}

int wait_exchange(const ox_jrpcapi* api, short events, long long deadline) {
    for (;;) {
        struct pollfd entries[CONNECTIONS_MAX] = {{api->socket.fd, events, 0}};
        ox_jrpcapi* others[CONNECTIONS_MAX] = {};
        nfds_t count = 1;
        for (ox_jrpcapi* other = connections_first(); other && count < CONNECTIONS_MAX; other = other->next) {
            if (other == api || !other->socket.connected) continue;
            others[count] = other;
            entries[count++] = {other->socket.fd, POLLIN, 0};
        }
        int rc = poll_until(entries, count, deadline);
        if (rc != OX_SOCKET_OK) return rc;
        for (nfds_t i = 1; i < count; ++i) {
            if (entries[i].revents) events_collect_some(others[i]);
        }
        if (entries[0].revents) return OX_SOCKET_OK;
        // The others may be readable without end.
        if (deadline_passed(deadline)) return OX_SOCKET_ETIMEOUT;
    }
}
