// JSON-RPC client connections to the daemon: local or TCP, plain or TLS.
//
// One exchange at a time on a connection, from one thread. Every blocking call is a loop over ox_wait_poll
// and may be left by a jump from there: the connection stays usable, what was half sent is finished before
// the next message, and the late answer of an abandoned request is dropped.
#pragma once

#include <stdint.h>

#include "ox_jrpclist.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_socket.hpp"

struct ox_jrpcapi;

enum ox_jrpcapi_flag : uint32_t {
    OX_JRPCAPI_RELOGIN = 1,  ///< log in again after a reconnect (set at creation)
    OX_JRPCAPI_EVENTS = 2,   ///< the process takes in its events on this connection, wherever they arrive
    OX_JRPCAPI_SSL = 8,      ///< TLS from the first byte on
};

inline constexpr const char* OX_JRPCAPI_DEFAULT_SOCKET = "/var/run/obxd.sock";
/// Where connections go that nobody gave a destination: where the environment's OBXD_SOCKET says (a path, or
/// tcp://HOST:PORT), else to the socket above.
const char* ox_jrpcapi_default_destination(void);
/// The time-out of exchanges for which nobody set another, in milliseconds.
inline constexpr int OX_JRPCAPI_TIMEOUT_MS = 5000;

/// A new connection, unconnected, bound for the default socket, time-out OX_JRPCAPI_TIMEOUT_MS. Never
/// null.
ox_jrpcapi* ox_jrpcapi_init(void);
/// Closes and destroys. Null-safe.
void ox_jrpcapi_deinit(ox_jrpcapi* api);

uint32_t ox_jrpcapi_get_flags(const ox_jrpcapi* api);
void ox_jrpcapi_set_flags(ox_jrpcapi* api, uint32_t flags);
/// Where to connect from now on: `path` is a socket path or "tcp://HOST:PORT"; null keeps the default.
/// `host`, when given, is such a text too and `path` then names nothing. `kind` (an ox_socket_kind) applies
/// to texts without scheme. Texts are copied.
void ox_jrpcapi_set_destination(ox_jrpcapi* api, const char* host, const char* path, int kind);
/// Bound of each exchange and of connecting, in milliseconds; -1: none, while the daemon shows a sign of life
/// (a message, or white space between messages) every ox_jrpcapi_patience_ms.
void ox_jrpcapi_set_timeout(ox_jrpcapi* api, int timeout_ms);
int ox_jrpcapi_get_timeout(const ox_jrpcapi* api);
/// How long a daemon may be silent where no other bound is set: the seconds that the environment's
/// OBX_PATIENCE says, or 60.
int ox_jrpcapi_patience_ms(void);

/// Returns 0, or the negative socket error (also kept for ox_jrpcapi_get_socket_err). Nothing happens on a
/// connection that is there. A reconnection restores login and groups. The other calls connect by themselves.
int ox_jrpcapi_connect(ox_jrpcapi* api);
/// The same in at most `timeout_ms` milliseconds (-1: no bound) in the place of the connection's time-out:
/// handshakes may take longer than an exchange.
int ox_jrpcapi_connect_within(ox_jrpcapi* api, int timeout_ms);
/// The connection's socket: for OX_JRPCAPI_EVENTS its descriptor is readable whenever an event can be taken,
/// whichever connection it came on. Null while unconnected.
ox_socket* ox_jrpcapi_socket(ox_jrpcapi* api);
/// A plain connection to a daemon that expects TLS can be made; only its first exchange fails (error -9).
/// `mismatched` is called then, after the exchange, and need not return. Null: nobody is told.
void ox_jrpcapi_on_mismatch(void (*mismatched)(ox_jrpcapi* api));
/// `slow` is called when an operation has waited two seconds for the daemon, with what it waits for (a
/// method's name, or "the connection"), and again with null when that operation has ended; not when it is
/// left by a jump. Null: nobody is told.
void ox_jrpcapi_on_slow(void (*slow)(const char* what));
/// The last socket error of this connection (ox_socket_error).
int ox_jrpcapi_get_socket_err(const ox_jrpcapi* api);

/// Sends a request and waits for its response, which ends up in the message. Numbers the request when it has
/// no id; where it has one of its own that an abandoned request of the connection bears too, the connection
/// is opened anew first. Returns 0 when a response came (an error response too), negative when the exchange
/// failed; the failure is recorded in the message as an error with the socket error's code and text.
int ox_jrpcapi_exec(ox_jrpcapi* api, ox_jrpcmsg* message);
/// The same, once more when the connection turned out to be closed (ox_jrpcapi_get_socket_err gives
/// OX_SOCKET_ECLOSED). Returns the outcome of the last exchange.
inline int ox_jrpcapi_exec_retry(ox_jrpcapi* api, ox_jrpcmsg* message) {
    int rc = ox_jrpcapi_exec(api, message);
    if (rc >= 0 || ox_jrpcapi_get_socket_err(api) != OX_SOCKET_ECLOSED) return rc;
    ox_jrpcmsg_set_result_new(message, nullptr);
    return ox_jrpcapi_exec(api, message);
}
/// The same, but the elements of the result's "ParameterList" go to the taker while they arrive, and the list
/// in the message is empty: neither its text nor its tree is ever held as a whole. What was taken counts when
/// the message has a result then. The taker must not use the connection.
int ox_jrpcapi_exec_list(ox_jrpcapi* api, ox_jrpcmsg* message, const ox_list_taker* taker);
/// Whether an executed request got no answer because that is too large, for the daemon (error 9004) or for
/// this library: longer than 64 MiB, or of a kind that would take many times its length in memory.
bool ox_jrpcapi_is_too_large(const ox_jrpcapi* api, const ox_jrpcmsg* message);
/// Sends a request and comes back at once, on a connection that is there and has none such underway. The
/// response ends up in the message when it is read: by whatever takes in what arrives, another exchange among
/// them. With a taker (null: none) the elements of its list go there, as with ox_jrpcapi_exec_list. Message
/// and taker must live until then. Returns 0, or the negative socket error: nothing is underway then.
int ox_jrpcapi_begin(ox_jrpcapi* api, ox_jrpcmsg* message, const ox_list_taker* taker);
/// Whether the response to this message is still to come. If not, the message has it, or the failure.
bool ox_jrpcapi_is_underway(const ox_jrpcapi* api, const ox_jrpcmsg* message);
/// Waits for it; what follows is as with ox_jrpcapi_exec. It stays underway when the wait is left by a jump
/// or by the time-out.
int ox_jrpcapi_finish(ox_jrpcapi* api, ox_jrpcmsg* message);
/// Nobody wants it any more: the response is dropped when it comes, and the message is the caller's.
void ox_jrpcapi_abandon(ox_jrpcapi* api, const ox_jrpcmsg* message);
/// Whether bytes of it wait for the socket to take them, and another try to send them.
bool ox_jrpcapi_has_unsent(const ox_jrpcapi* api);
void ox_jrpcapi_send_more(ox_jrpcapi* api);
/// Sends a message that expects no reply. Returns 0, or the negative socket error.
int ox_jrpcapi_send(ox_jrpcapi* api, ox_jrpcmsg* message);
/// Takes one message that is no response, without waiting: a new message, or null with socket error -8 or -13
/// (nothing whole is there), or another negative error when the connection is lost.
ox_jrpcmsg* ox_jrpcapi_recv(ox_jrpcapi* api);
/// Log in by name (`password` may be null) and log out. Return 0, the daemon's error code, or a negative
/// socket error. A connection that had been lost is reconnected. A login that succeeds removes the token.
int ox_jrpcapi_login(ox_jrpcapi* api, const char* login, const char* password);
int ox_jrpcapi_logout(ox_jrpcapi* api);
/// Sends `token` as "auth" with every later request; "" removes it. Once the daemon has accepted it the
/// connection's login by name is over. The other arguments are reserved: 0, 0 and OX_JRPCAPI_TIMEOUT_MS.
void ox_jrpcapi_set_auth(ox_jrpcapi* api, int kind, const char* token, int flags, int timeout_ms);
/// The token sent as "auth", or null.
const char* ox_jrpcapi_get_auth(const ox_jrpcapi* api);
