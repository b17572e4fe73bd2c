#include "net/server.hpp"

#include <errno.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "net/admission.hpp"
#include "net/listener.hpp"
#include "net/shares.hpp"

namespace obxd {

namespace {

constexpr uint64_t TAG_LOCAL = 2;
constexpr uint64_t TAG_TCP = 3;
constexpr int MESSAGES_PER_TURN = 16;
constexpr int READS_PER_TURN = 16;
constexpr int64_t HANDSHAKE_MS = 10000;
constexpr int64_t STALL_MS = 60000;
constexpr int64_t PRESSED_STALL_MS = 5000;  // where others wait for the memory
constexpr int64_t LINGER_MS = 1000;
constexpr int64_t SWEEP_MS = 500;
constexpr int64_t WORKING_MS = 10000;  // a client whose request takes longer is told so that it is at work
constexpr int64_t RETRY_MS = 200;

bool may_read(const Connection& c) {
    return !c.eof && (c.phase == Connection::LINGER ||
                      (!c.busy && !c.waiting && !c.closing && connection_pending(c) < OWN_OUTPUT));
}

// Asks the loop for what the connection waits for now.
void watch(Server& server, Connection& c) {
    uint32_t events = 0;
    if (c.phase == Connection::SNIFF || c.phase == Connection::HANDSHAKE) {
        events = c.handshake_writes ? EPOLLOUT : EPOLLIN;
    } else {
        if (may_read(c)) events |= EPOLLIN;
        if (connection_pending(c) > 0) events |= EPOLLOUT;
    }
    if (events == c.watched) return;
    // A connection with nothing to wait for is not watched at all: its hang-up would be reported for ever.
    if (events == 0)
        loop_unwatch(server.loop, c.fd);
    else if (c.watched == 0)
        loop_watch(server.loop, c.fd, c.id, events);
    else
        loop_change(server.loop, c.fd, c.id, events);
    c.watched = events;
}

void start_linger(Connection& c) {
    if (c.tls) tls_close(*c.tls);
    shutdown(c.fd, SHUT_WR);
    c.phase = Connection::LINGER;
    c.progress = now_ms();
    c.drained = false;
    input_clear(c.in);
}

// False when the message has to wait.
bool give_message(Server& server, Connection& c, std::string_view text) {
    server.large |= text.size() > LARGE || c.in.values * 100 > LARGE;
    if (!server.on_message(c, text)) {
        input_give_back(c.in, text.size());
        share_wait(server, c);
        return false;
    }
    share_served(c);
    input_done(c.in);
    server.large |= connection_pending(c) > LARGE;
    return true;
}

// Takes messages while it is this connection's turn. True when there may be more to do at once.
bool take_messages(Server& server, Connection& c) {
    int messages = MESSAGES_PER_TURN;
    int reads = READS_PER_TURN;
    int64_t end = now_ms() + CLIENT_TURN_MS;
    while (c.phase == Connection::OPEN && !c.busy && !c.waiting && !c.closing &&
           connection_pending(c) < OWN_OUTPUT) {
        if (messages == 0 || reads == 0 || now_ms() > end) return true;
        std::string_view text;
        Frame frame = input_next(c.in, text);
        if (frame == Frame::MESSAGE) {
            messages--;
            c.heard = now_ms();
            if (!give_message(server, c, text)) return false;
        } else if (frame == Frame::NO_OBJECT) {
            server.on_broken(c, "A message must be a JSON object");
        } else if (frame == Frame::TOO_LONG) {
            server.on_broken(c, "The message is longer than 64 MiB");
        } else {
            if (c.eof) c.closing = true;
            if (c.eof || c.drained) return false;
            reads--;
            if (!share_takes_input(server, c))
                server.on_broken(c, "Too much is being received at once");
            else if (!connection_read(c))
                server_close(server, c);
        }
    }
    return false;
}

void discard_input(Server& server, Connection& c) {
    for (int i = 0; i < READS_PER_TURN && !c.drained && !c.eof; i++) {
        if (!connection_read(c)) return server_close(server, c);
    }
    if (c.eof) server_close(server, c);
}

// One turn of a connection.
void serve(Server& server, Connection& c) {
    c.queued = false;
    if (c.phase == Connection::DEAD) return;
    if (!connection_open(c, server.tls.get()) || (c.phase == Connection::OPEN && !connection_flush(c)))
        return server_close(server, c);
    if (c.phase == Connection::LINGER) {
        discard_input(server, c);
        if (c.phase != Connection::DEAD) watch(server, c);
        return;
    }
    bool more = take_messages(server, c);
    if (c.phase == Connection::DEAD) return;
    bool blocked = connection_pending(c) >= OWN_OUTPUT;
    if (c.phase == Connection::OPEN && !connection_flush(c)) return server_close(server, c);
    if (c.closing && !c.busy && connection_pending(c) == 0) {
        if (c.eof || c.deaf) return server_close(server, c);
        start_linger(c);
    }
    if (c.owed && connection_pending(c) == 0 && c.phase == Connection::OPEN) server.on_relief(c);
    if (c.phase == Connection::DEAD) return;
    watch(server, c);
    // Where output that was in the way is gone, messages that are here already go on without a new event.
    if (more || (blocked && connection_pending(c) < OWN_OUTPUT)) server_wake(server, c);
}

void on_event(Server& server, uint64_t tag, uint32_t events) {
    if (tag == TAG_LOCAL) return admission_accept(server, server.local_listener.get(), true);
    if (tag == TAG_TCP) return admission_accept(server, server.tcp_listener.get(), false);
    auto found = server.connections.find(tag);
    if (found == server.connections.end()) return;
    Connection& c = *found->second;
    if (events & (EPOLLIN | EPOLLHUP | EPOLLERR)) c.drained = false;
    bool gone = events & (EPOLLHUP | EPOLLERR);
    if (gone && c.busy && c.watched) {
        // The request that is being answered goes on to its end, although nobody gets the answer.
        loop_unwatch(server.loop, c.fd);
        c.watched = 0;
        return;
    }
    server_wake(server, c);
}

/// Those whose turns are held to one share of the time: administrators' turns are not.
enum Class { ADMINISTRATORS, USERS, GUESTS, CLASSES };

Class class_of(const Connection& c) {
    return c.root || c.trusted ? ADMINISTRATORS : c.known ? USERS : GUESTS;
}

// Serves who has work left; guests and users as long as their shares of the time last, so that whoever comes
// meanwhile does not wait for all of them.
bool on_turn(Server& server) {
    std::vector<uint64_t> rounds[CLASSES];
    for (uint64_t id : server.to_serve) {
        auto found = server.connections.find(id);
        if (found != server.connections.end()) rounds[class_of(*found->second)].push_back(id);
    }
    server.to_serve.clear();
    std::vector<uint64_t> left;
    for (int each = 0; each < CLASSES; each++) {
        int64_t end = now_ms() + CLASS_TURN_MS;
        bool first = true;
        for (uint64_t id : rounds[each]) {
            if (each == ADMINISTRATORS || first || now_ms() < end)
                serve(server, *server.connections[id]);
            else
                left.push_back(id);
            first = false;
        }
    }
    server.to_serve.insert(server.to_serve.begin(), left.begin(), left.end());
    for (uint64_t id : server.to_forget) server.connections.erase(id);
    server.to_forget.clear();
    share_wake(server);
    return !server.to_serve.empty();
}

// Those that are open.
void watch_listeners(Server& server, uint32_t events) {
    if (server.local_listener.get() >= 0)
        loop_change(server.loop, server.local_listener.get(), TAG_LOCAL, events);
    if (server.tcp_listener.get() >= 0) loop_change(server.loop, server.tcp_listener.get(), TAG_TCP, events);
}

// Closes connections whose clients take too long for the handshake, to read their answers, or to log
// in. White space between messages tells those who wait for an answer that it is being worked at.
void sweep(Server& server) {
    int64_t now = now_ms();
    for (auto& entry : server.connections) {
        Connection& c = *entry.second;
        int64_t idle = now - c.progress;
        bool unread = c.phase == Connection::OPEN && connection_pending(c) > 0;
        int64_t stall = share_is_pressed(server, c) ? PRESSED_STALL_MS : STALL_MS;
        bool early = c.phase == Connection::HANDSHAKE || (c.phase == Connection::SNIFF && c.must_use_tls);
        if ((early && idle > HANDSHAKE_MS) || (unread && c.answers && idle > stall) ||
            (c.phase == Connection::LINGER && idle > LINGER_MS) || admission_expired(server, c, now))
            server_close(server, c);
        else if (c.phase == Connection::OPEN && c.busy && !unread && !c.deaf && idle > WORKING_MS) {
            connection_output(c).append('\n');
            server_wake(server, c);
        }
    }
    share_trim(server);
    loop_after(server.loop, SWEEP_MS, [&server] { sweep(server); });
}

bool open_port(Server& server, std::string& error) {
    Listen& listen = server.listen;
    if (listen.port < 0 || server.tcp_listener.get() >= 0) return true;
    server.tcp_listener = listen_tcp(listen.host, listen.port, error);
    if (server.tcp_listener.get() < 0) return false;
    loop_watch(server.loop, server.tcp_listener.get(), TAG_TCP, EPOLLIN);
    return true;
}

bool open_socket(Server& server, std::string& error) {
    if (server.local_listener.get() >= 0) return true;
    server.local_listener = listen_local(server.listen.socket, error);
    if (server.local_listener.get() < 0) return false;
    server.local_inode = listen_inode(server.listen.socket);
    loop_watch(server.loop, server.local_listener.get(), TAG_LOCAL, EPOLLIN);
    return true;
}

}  // namespace

bool server_open(Server& server, std::string& error) {
    return open_port(server, error) && open_socket(server, error);
}

void server_run(Server& server) {
    server.spare.reset(open("/dev/null", O_RDONLY | O_CLOEXEC));
    sweep(server);
    loop_run(
        server.loop, [&server](uint64_t tag, uint32_t events) { on_event(server, tag, events); },
        [&server] { return on_turn(server); });
    server_go_down(server);
}

void server_go_down(Server& server) {
    if (server.local_listener.get() >= 0) unlisten_local(server.listen.socket, server.local_inode);
    server.local_listener.reset();
    server.tcp_listener.reset();
    // All output goes before the first connection is closed: a client of two would otherwise see the end of
    // one before the event on the other.
    for (auto& entry : server.connections) {
        if (entry.second->phase == Connection::OPEN) connection_flush(*entry.second);
    }
    for (auto& entry : server.connections) server_close(server, *entry.second);
}

void server_come_up(Server& server) {
    std::string error;
    // Where another program has taken the port meanwhile, who is on the device is served nevertheless.
    bool port = open_port(server, error);
    if (open_socket(server, error) && port) return;
    loop_after(server.loop, RETRY_MS, [&server] { server_come_up(server); });
}

void server_pause(Server& server, int64_t for_ms) {
    if (server.paused) return;
    server.paused = true;
    watch_listeners(server, 0);
    loop_after(server.loop, for_ms, [&server] {
        server.paused = false;
        watch_listeners(server, EPOLLIN);
    });
}

void server_close(Server& server, Connection& c) {
    if (c.phase == Connection::DEAD) return;
    if (c.watched) loop_unwatch(server.loop, c.fd);
    if (c.tls && c.phase == Connection::OPEN && !c.deaf) tls_close(*c.tls);
    close(c.fd);
    c.fd = -1;
    c.watched = 0;
    c.phase = Connection::DEAD;
    c.out.clear();
    server.to_forget.push_back(c.id);
}

Connection* server_find(Server& server, uint64_t id) {
    auto found = server.connections.find(id);
    bool there = found != server.connections.end() && found->second->phase != Connection::DEAD;
    return there ? found->second.get() : nullptr;
}

void server_wake(Server& server, Connection& c) {
    if (c.queued || c.phase == Connection::DEAD) return;
    c.queued = true;
    server.to_serve.push_back(c.id);
}

std::shared_ptr<const Text> server_shared_text(Server& server, Text text) {
    size_t size = text.size();
    server.large |= size > LARGE;
    server.events += size;
    auto* shared = new Text(std::move(text));
    return std::shared_ptr<const Text>(shared, [&events = server.events, size](const Text* gone) {
        events -= size;
        delete gone;
    });
}

bool server_push(Server& server, Connection& c, const std::shared_ptr<const Text>& text) {
    if (c.deaf || c.phase != Connection::OPEN) return true;
    if (!share_takes_event(server, c)) return false;
    if (connection_pending(c) == 0) c.progress = now_ms();
    c.pushed += text->size();
    c.out.share(text);
    server_wake(server, c);
    if (server.events > EVENTS_SHARE) share_drop_deaf(server);
    return true;
}

}  // namespace obxd
