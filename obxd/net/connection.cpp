#include "net/connection.hpp"

#include <errno.h>
#include <sys/socket.h>
#include <unistd.h>

#include "net/loop.hpp"

namespace obxd {

namespace {

constexpr size_t READ_SIZE = size_t{64} * 1024;
constexpr int PIECES_AT_ONCE = 16;
constexpr unsigned char TLS_HANDSHAKE_BYTE = 0x16;

ssize_t receive(Connection& c, char* data, size_t size) {
    return c.tls ? tls_read(*c.tls, data, size) : recv(c.fd, data, size, MSG_DONTWAIT);
}

// The peer has closed, perhaps right behind its last messages: those are still to be read.
bool turn_deaf(Connection& c) {
    c.deaf = true;
    c.drained = false;
    return true;
}

// Sends what the socket takes of the first pieces. -1 with errno.
ssize_t send_pieces(Connection& c) {
    iovec pieces[PIECES_AT_ONCE];
    int count = c.out.pieces(pieces, c.tls ? 1 : PIECES_AT_ONCE);
    if (c.tls) return tls_write(*c.tls, pieces[0].iov_base, pieces[0].iov_len);
    msghdr message{};
    message.msg_iov = pieces;
    message.msg_iovlen = static_cast<size_t>(count);
    return sendmsg(c.fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
}

// Sends until all is out or the socket takes no more. False when the stream broke.
bool send_pending(Connection& c) {
    while (!c.deaf && connection_pending(c) > 0) {
        ssize_t sent = send_pieces(c);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0 && (errno == EPIPE || errno == ECONNRESET)) return turn_deaf(c);
        if (sent < 0) return errno == EAGAIN;
        c.out.drop(static_cast<size_t>(sent));
        c.progress = now_ms();
    }
    return true;
}

bool start_tls(Connection& c, TlsServer* server) {
    c.tls = tls_link_new(*server, c.fd);
    c.phase = Connection::HANDSHAKE;
    c.progress = now_ms();
    return c.tls != nullptr;
}

// Answers plain text, where TLS is required, with a TLS alert.
void refuse_plain_text(Connection& c) {
    static const char alert[] = {0x15, 3, 3, 0, 2, 2, 70};  // fatal: protocol_version
    c.phase = Connection::OPEN;
    c.out.append(std::string_view(alert, sizeof alert));
    c.closing = true;
}

bool sniff(Connection& c, TlsServer* server) {
    unsigned char first = 0;
    ssize_t got = recv(c.fd, &first, 1, MSG_PEEK | MSG_DONTWAIT);
    if (got == 0) return false;
    if (got < 0) return errno == EAGAIN || errno == EINTR;
    if (first == TLS_HANDSHAKE_BYTE && server) return start_tls(c, server);
    c.phase = Connection::OPEN;
    if (c.must_use_tls) refuse_plain_text(c);
    return true;
}

}  // namespace

Connection::~Connection() {
    if (fd >= 0) close(fd);
}

Text& connection_output(Connection& c) {
    if (connection_pending(c) == 0) c.progress = now_ms();
    c.answers = true;
    return c.out;
}

bool connection_flush(Connection& c) {
    if (!send_pending(c)) return false;
    if (!c.deaf && connection_pending(c) > 0) return true;
    c.out.clear();
    c.pushed = 0;
    c.answers = false;
    return true;
}

bool connection_read(Connection& c) {
    static char buffer[READ_SIZE];
    ssize_t got = receive(c, buffer, sizeof buffer);
    if (got < 0) {
        c.drained = true;
        return errno == EAGAIN || errno == EINTR;
    }
    c.eof = got == 0;
    // Records that TLS holds already are not seen by epoll: only an empty socket tells that all was read.
    c.drained = c.eof || (!c.tls && static_cast<size_t>(got) < sizeof buffer);
    return c.phase != Connection::OPEN || input_append(c.in, buffer, static_cast<size_t>(got));
}

bool connection_open(Connection& c, TlsServer* server) {
    if (c.phase == Connection::SNIFF && !sniff(c, server)) return false;
    if (c.phase != Connection::HANDSHAKE) return true;
    TlsStep step = tls_handshake(*c.tls);
    if (step == TlsStep::DONE) c.phase = Connection::OPEN;
    c.handshake_writes = step == TlsStep::WANT_WRITE;
    return step != TlsStep::FAILED;
}

}  // namespace obxd
