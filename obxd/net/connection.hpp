// One client: its socket and its bytes.
#pragma once

#include <stdint.h>
#include <sys/types.h>

#include <memory>
#include <string>

#include "net/framing.hpp"
#include "net/tls.hpp"
#include "text.hpp"

namespace obxd {

struct Connection {
    enum Phase {
        SNIFF,      ///< the first byte will tell whether the client speaks TLS
        HANDSHAKE,  ///< TLS is being set up
        OPEN,       ///< messages flow
        LINGER,  ///< all was said; what still comes is thrown away so that the peer can read the last words
        DEAD,    ///< closed, and about to be forgotten
    };

    uint64_t id = 0;  ///< also its tag in the loop
    int fd = -1;
    Phase phase = OPEN;
    bool local = false;    ///< a local socket, so that `uid` is known
    uid_t uid = 0;         ///< of the client's process
    bool root = false;     ///< local, and of root or the daemon's own user
    std::string source;    ///< the user of the host, or the address, that it is counted for
    bool known = false;    ///< its client has logged in
    bool trusted = false;  ///< as administrator
    bool listens = false;  ///< has joined a group
    int64_t heard = 0;     ///< when the last message came, or it was accepted (ms)
    TlsLinkPtr tls;
    bool must_use_tls = false;

    Input in;
    bool eof = false;      ///< nothing more comes
    bool drained = false;  ///< the last read emptied the socket
    bool deaf = false;     ///< the peer takes nothing any more; what it had sent before still counts
    bool closing = false;  ///< close when the output is out
    bool busy = false;     ///< a request waits for its answer; later ones wait for that
    bool waiting = false;  ///< its message waits until there is room for the answer
    bool chosen = false;   ///< the first of those that wait: what room there is is for its answer
    size_t gave_up = 0;    ///< the answer was found to be longer than this
    bool queued = false;   ///< stands in the server's list of connections to serve
    uint32_t watched = 0;  ///< epoll events asked for; 0 while the loop does not watch it

    Text out;              ///< what is still to be sent
    size_t pushed = 0;     ///< bytes that were not asked for, since the output was last empty
    bool answers = false;  ///< there are answers among the output, since it was last empty
    bool owed = false;     ///< something was held back until all output is out
    int64_t progress = 0;  ///< when output last moved, a request that may take long or the phase began (ms)
    bool handshake_writes = false;

    std::shared_ptr<void> session;  ///< belongs to the room above, which remembers there what it wants

    Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();
};

inline size_t connection_pending(const Connection& c) {
    return c.out.size();
}

/// The output, to append to; the client's time to read it begins when there was none.
Text& connection_output(Connection& c);
/// Sends what the socket takes; nothing where the peer is `deaf`. False when the stream broke.
bool connection_flush(Connection& c);
/// Reads once into the input. False when the stream broke or memory ran out; at its end `eof` is set.
bool connection_read(Connection& c);
/// Takes the phases before OPEN as far as possible; `server` may be null (no certificate). False: close it.
bool connection_open(Connection& c, TlsServer* server);

}  // namespace obxd
