#include "peer.hpp"

#include <fcntl.h>
#include <jansson.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <vector>

#include "fuzz.hpp"
#include "ox_raii.hpp"

extern "C" int __real_ppoll(struct pollfd* fds, nfds_t count, const struct timespec* timeout,
                            const sigset_t* mask);

namespace {

struct Connection {
    int fd;
    std::string in;
};

struct Peer {
    int listener = -1;
    std::vector<Connection> connections;
    std::string lines;
    size_t at = 0;
    bool echo = false;
    long long now_ms = 1000000;
};

Peer& peer() {
    static auto* const one = new Peer;
    return *one;
}

void forget(Connection* c) {
    if (c->fd >= 0) close(c->fd);
    c->fd = -1;
}

/// The client reads when it waits; what it does not take it shall not have.
void send_line(Connection* c, const std::string& text) {
    std::string line = text + '\n';
    auto size = static_cast<ssize_t>(line.size());
    if (c->fd >= 0 && send(c->fd, line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL) != size) forget(c);
}

std::string next_line() {
    Peer& p = peer();
    if (p.at >= p.lines.size()) return "{}";
    size_t end = p.lines.find('\n', p.at);
    std::string line = p.lines.substr(p.at, end - p.at);
    p.at = end == std::string::npos ? p.lines.size() : end + 1;
    return line;
}

bool is_message(const json_t* json) {
    return json_object_get(json, "result") || json_object_get(json, "error") ||
           json_object_get(json, "method");
}

void send_result(Connection* c, json_t* id, json_t* result) {
    JsonRef message(json_pack("{s:s, s:O, s:O}", "jsonrpc", "2.0", "id", id, "result", result));
    CharsRef text(json_dumps(message, JSON_COMPACT));
    send_line(c, text.get());
}

/// False where another line belongs to the same request.
bool answer_with(Connection* c, json_t* id, const std::string& line) {
    if (line == "?") return true;
    if (line == "!") {
        forget(c);
        return true;
    }
    JsonRef json(json_loadb(line.data(), line.size(), JSON_DECODE_ANY, nullptr));
    if (!json) {
        send_line(c, line);
        return true;
    }
    if (!is_message(json)) {
        send_result(c, id, json);
        return true;
    }
    json_object_set_new(json, "jsonrpc", json_string("2.0"));
    bool event = json_object_get(json, "method") != nullptr;
    if (!event) json_object_set(json, "id", id);
    CharsRef text(json_dumps(json, JSON_COMPACT));
    send_line(c, text.get());
    return !event;
}

/// What the client sends is whole, whatever it was told before.
void serve_line(Connection* c, const std::string& line) {
    JsonRef request(json_loadb(line.data(), line.size(), 0, nullptr));
    REQUIRE(json_is_object(request));
    REQUIRE(json_string_length(json_object_get(request, "method")) > 0);
    json_t* id = json_object_get(request, "id");
    if (!id) return;
    if (peer().echo) {
        json_t* params = json_object_get(request, "params");
        REQUIRE(params);
        send_result(c, id, params);
        return;
    }
    while (c->fd >= 0 && !answer_with(c, id, next_line())) {
    }
}

void serve(Connection* c) {
    char bytes[4096];
    ssize_t count = 0;
    while (c->fd >= 0 && (count = recv(c->fd, bytes, sizeof(bytes), MSG_DONTWAIT)) > 0) {
        c->in.append(bytes, static_cast<size_t>(count));
        size_t end = 0;
        while ((end = c->in.find('\n')) != std::string::npos) {
            std::string line = c->in.substr(0, end);
            c->in.erase(0, end + 1);
            serve_line(c, line);
        }
    }
    if (count == 0) forget(c);
}

void serve_all() {
    Peer& p = peer();
    if (p.listener < 0) return;
    for (int fd = 0; (fd = accept4(p.listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        p.connections.push_back({fd, ""});
    }
    for (Connection& c : p.connections) serve(&c);
}

}  // namespace

/// Serves instead of waiting; nothing waits for it without bound.
extern "C" int __wrap_ppoll(struct pollfd* fds, nfds_t count, const struct timespec* timeout,
                            const sigset_t*) {
    serve_all();
    static const struct timespec none = {};
    int result = __real_ppoll(fds, count, &none, nullptr);
    if (result != 0) return result;
    REQUIRE(timeout);
    peer().now_ms += timeout->tv_sec * 1000LL + timeout->tv_nsec / 1000000 + 1;
    return 0;
}

extern "C" int __wrap_clock_gettime(clockid_t, struct timespec* now) {
    *now = {peer().now_ms / 1000, peer().now_ms % 1000 * 1000000};
    return 0;
}

const std::string& peer_path() {
    static const std::string path = state_directory() + ".sock";
    Peer& p = peer();
    if (p.listener >= 0) return path;
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    REQUIRE(path.size() < sizeof(address.sun_path));
    path.copy(address.sun_path, path.size());
    p.listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    REQUIRE(bind(p.listener, reinterpret_cast<struct sockaddr*>(&address), sizeof(address)) == 0);
    REQUIRE(listen(p.listener, 128) == 0);
    return path;
}

void peer_begin(const std::string& lines) {
    Peer& p = peer();
    serve_all();
    for (Connection& c : p.connections) forget(&c);
    p.connections.clear();
    p.lines = lines;
    p.at = 0;
    p.echo = false;
}

void peer_echo() {
    peer().echo = true;
}

long long peer_waited_ms() {
    return peer().now_ms;
}
