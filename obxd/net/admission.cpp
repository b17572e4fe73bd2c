#include "net/admission.hpp"

#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <tuple>

#include "net/source.hpp"

namespace obxd {

namespace {

constexpr int ACCEPTS_PER_TURN = 64;

/// The connections of one source that are not local root's.
struct SourceCount {
    int bounded = 0;  ///< of guests and users
    int guests = 0;
    bool known = false;  ///< somebody there has logged in
};

struct Census {
    int all = 0;
    int strangers = 0;  ///< that are not local root's
    int guests = 0;
    std::map<std::string, SourceCount> sources;
};

bool is_guest(const Connection& c) {
    return !c.root && !c.known;
}

Census count(const Server& server) {
    Census census;
    for (const auto& entry : server.connections) {
        const Connection& c = *entry.second;
        if (c.phase == Connection::DEAD) continue;
        census.all++;
        if (c.root) continue;
        SourceCount& source = census.sources[c.source];
        census.strangers++;
        census.guests += is_guest(c);
        source.guests += is_guest(c);
        source.bounded += !c.trusted;
        source.known |= c.known;
    }
    return census;
}

// The guest that makes room for one more of `source`: one of its own where that is full, else one of the
// source that has most; null where nobody does. Who was heard of just now, or waits for an answer, goes only
// where its source has more guests than the other. A client's connection for events is a guest's too: where
// its user is known from another one, it stays.
Connection* find_victim(Server& server, Census& census, const std::string& source, bool source_full) {
    Connection* victim = nullptr;
    int64_t now = now_ms();
    int others = census.sources[source].guests + 1;
    auto rank = [&census](const Connection& c) {
        return std::tuple(census.sources[c.source].guests, !c.listens, -c.heard);
    };
    for (const auto& entry : server.connections) {
        Connection& c = *entry.second;
        if (c.phase == Connection::DEAD || !is_guest(c) || (source_full && c.source != source)) continue;
        const SourceCount& counted = census.sources[c.source];
        bool active = c.busy || now - c.heard < FRESH_MS;
        if ((active && counted.guests <= others) || (c.listens && counted.known)) continue;
        if (!victim || rank(c) > rank(*victim)) victim = &c;
    }
    return victim;
}

// True when there is room for the newcomer, which may cost another its connection.
bool make_room(Server& server, const Connection& newcomer) {
    const Bounds& bounds = server.bounds;
    Census census = count(server);
    int reserve = std::max(1, bounds.connections / ROOT_SHARE);
    bool source_full = false, full = census.all >= bounds.connections;
    if (!newcomer.root) {
        int most_guests = bounds.guests > 0 ? bounds.guests : std::max(1, bounds.connections / 2);
        int most_of_source = bounds.per_source > 0 ? bounds.per_source : std::max(1, bounds.connections / 4);
        source_full = census.sources[newcomer.source].bounded >= most_of_source;
        full |= census.strangers >= bounds.connections - reserve || census.guests >= most_guests;
    }
    if (!source_full && !full) return true;
    Connection* victim = find_victim(server, census, newcomer.source, source_full);
    if (victim) server_close(server, *victim);
    return victim;
}

void take_in(Server& server, int fd, bool local, const sockaddr_storage& peer) {
    auto c = std::make_unique<Connection>();
    c->fd = fd;
    source_find(*c, local, peer);
    if (!make_room(server, *c)) return;
    int one = 1;
    if (!local) setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    if (!local) setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &one, sizeof one);
    c->id = server.next_connection++;
    c->progress = c->heard = now_ms();
    if (server.tls) {
        c->phase = Connection::SNIFF;
        c->must_use_tls = !local;
    }
    server_wake(server, *c);
    server.connections.emplace(c->id, std::move(c));
}

// Without descriptors nobody can be accepted, and who waits would be reported for ever. A guest makes room;
// where there is none, those who wait are closed with the help of a spare descriptor, and then not looked at
// for a while.
void shed(Server& server, int listener) {
    Census census = count(server);
    if (Connection* victim = find_victim(server, census, "", false)) return server_close(server, *victim);
    for (int i = 0; i < ACCEPTS_PER_TURN; i++) {
        server.spare.reset();
        int fd = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd >= 0) close(fd);
        server.spare.reset(open("/dev/null", O_RDONLY | O_CLOEXEC));
        if (fd < 0) break;
    }
    server_pause(server, EXHAUSTED_MS);
}

}  // namespace

void admission_accept(Server& server, int listener, bool local) {
    for (int i = 0; i < ACCEPTS_PER_TURN; i++) {
        sockaddr_storage peer{};
        socklen_t size = sizeof peer;
        int fd = accept4(listener, reinterpret_cast<sockaddr*>(&peer), &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd >= 0) {
            take_in(server, fd, local, peer);
            continue;
        }
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) shed(server, listener);
        if (errno != ECONNABORTED && errno != EINTR) return;
    }
}

void admission_guest(Connection& c) {
    c.known = c.trusted = false;
}

void admission_login(Connection& c, bool trusted) {
    c.known = true;
    c.trusted = trusted;
}

bool admission_expired(const Server& server, const Connection& c, int64_t now) {
    int64_t bound = int64_t{server.bounds.guest_idle_s} * 1000;
    return bound > 0 && is_guest(c) && !c.listens && !c.busy && now - c.heard > bound;
}

}  // namespace obxd
