// The server: accepts clients, serves their messages fairly, and passes events on.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "answers.hpp"
#include "device/journal.hpp"
#include "net/connection.hpp"
#include "net/loop.hpp"
#include "options.hpp"
#include "owners.hpp"
#include "store.hpp"
#include "users/users.hpp"

namespace obxd {

struct Device;

struct Server {
    Options options;
    Loop loop;
    std::unique_ptr<Store> store;
    Users users;
    Journal journal;
    TlsServerPtr tls;
    Device* device = nullptr;  ///< set while serving
    Fd local_listener, tcp_listener;
    uint64_t next_connection = 16;
    std::unordered_map<uint64_t, std::unique_ptr<Connection>> connections;
    std::vector<uint64_t> to_serve;  ///< connections with work left
    std::vector<uint64_t> to_forget;
    /// Who the request being answered comes from; null outside of one.
    const Caller* acting = nullptr;
    uint64_t asking = 0;  ///< the connection that it comes on
};

/// Opens the sockets that the options name. False with one line in `error`.
bool server_open(Server& server, std::string& error);
/// The line that tells that the daemon is ready.
std::string server_ready_text(const Server& server);
/// Serves until a signal ends it, then closes everything and removes the local socket.
void server_run(Server& server);

/// Closes all connections (unsent answers are tried once) and the sockets, as a device that goes down does.
void server_go_down(Server& server);
/// Opens the sockets again; keeps trying until it works.
void server_come_up(Server& server);

/// Has the connection served in this round of the loop.
void server_wake(Server& server, Connection& c);
void server_close(Server& server, Connection& c);

/// Sends an event to all connections in the group, `except` that one (0: nobody). Takes over `params`.
void server_emit(Server& server, uint32_t group, json_t* params, uint64_t except = 0);

/// Sends an event to this connection alone. Takes over `params`.
void server_send_event(Server& server, Connection& c, uint32_t group, json_t* params);

/// Answers one message of the connection.
void dispatch(Server& server, Connection& c, std::string_view text);
/// Answers with an error that belongs to no request and closes the connection once it is out.
void refuse_stream(Server& server, Connection& c, int code, const char* detail);

/// Groups of the daemon's own events.
enum EventGroup : uint32_t { GROUP_VALUES = 1, GROUP_DEVICE = 2, GROUP_MODEL = 4 };
/// Passes the store's changes on as events of groups 1 and 4.
void watch_store(Server& server);

/// What a handler is told about a request.
struct Request {
    Server& server;
    Connection& connection;  ///< valid during the call only
    const Caller& caller;    ///< valid during the call only
    const json_t* params;    ///< borrowed; an object
    Reply reply;
};

/// The methods about the connection itself: Login, Logout, JoinGroup, LeaveGroup.
void session_login(Request& request);
void session_logout(Request& request);
void session_join(Request& request);
void session_leave(Request& request);

}  // namespace obxd
