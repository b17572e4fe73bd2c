// The server: accepts clients, takes their messages in fair turns, and sends what is given to it.
//
// What a message says is not its business: each goes to a function that it is handed before it runs.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bounds.hpp"
#include "net/connection.hpp"
#include "net/loop.hpp"
#include "owners.hpp"

namespace obxd {

/// Where clients are waited for.
struct Listen {
    std::string socket;  ///< path of the local one
    std::string host;    ///< of TCP; "" for every address
    int port = -1;       ///< -1: no TCP. 0: any free one; it is set to the one that was taken
};

struct Server {
    Loop& loop;
    Listen listen;
    TlsServerPtr tls;  ///< null: no TLS
    Bounds bounds = Bounds();

    /// Takes each message. What it answers, now or later, goes to the connection's output. False where there
    /// is no room for the answer now: then the message comes again later.
    std::function<bool(Connection& c, std::string_view text)> on_message;
    /// Tells the client why what it sent cannot be read on, and has the connection closed.
    std::function<void(Connection& c, const char* why)> on_broken;
    /// Sends what was held back for a connection that is `owed` something: all its output is out.
    std::function<void(Connection& c)> on_relief;

    Fd local_listener = Fd();
    ino_t local_inode = 0;  ///< of the local socket's file
    Fd tcp_listener = Fd();
    Fd spare = Fd();      ///< a descriptor to accept with where there is none left
    bool paused = false;  ///< nobody is accepted for a while
    uint64_t next_connection = 16;
    size_t events = 0;              ///< bytes of the events that connections share
    bool large = false;             ///< much memory was in use, which may be given back
    std::vector<uint64_t> waiting;  ///< connections whose messages wait for room, the first of them first
    std::unordered_map<uint64_t, std::unique_ptr<Connection>> connections;  ///< by their ids
    std::vector<uint64_t> to_serve;                                         ///< connections with work left
    std::vector<uint64_t> to_forget;
};

/// Opens the sockets. False with one line in `error`.
bool server_open(Server& server, std::string& error);
/// Serves until a signal ends it, then closes everything and removes the local socket.
void server_run(Server& server);

/// Closes all connections (unsent answers are tried once) and the sockets, as a device that goes down does.
void server_go_down(Server& server);
/// Opens the sockets again; keeps trying until it works.
void server_come_up(Server& server);

/// Does not look at who wants to connect for so long.
void server_pause(Server& server, int64_t for_ms);
/// Closes a connection; it is forgotten at the end of this round of the loop.
void server_close(Server& server, Connection& c);

/// The connection with this id; null when it is closed.
Connection* server_find(Server& server, uint64_t id);
/// Has the connection served in this round of the loop.
void server_wake(Server& server, Connection& c);
/// A text for many connections, from which it is pushed to them.
std::shared_ptr<const Text> server_shared_text(Server& server, Text text);
/// Sends a text that the client did not ask for. False when too much of that is unread; then it is not sent.
bool server_push(Server& server, Connection& c, const std::shared_ptr<const Text>& text);

}  // namespace obxd
