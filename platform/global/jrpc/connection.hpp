// A connection as its own room sees it: socket, buffers, identity.
//
// Whatever waits here may be left by a jump, so each record is in order before a wait begins: a socket that
// is not yet connected says so, a message that is half sent stays in the out buffer.
#pragma once

#include "framing.hpp"
#include "ox_jrpcapi.hpp"

struct TlsSession;

struct ox_socket {
    int fd;
    int kind;         ///< ox_socket_kind
    bool connected;   ///< ready for messages; false while a connect or handshake is under way
    bool events;      ///< its descriptor is the one of all events
    TlsSession* tls;  ///< null on a plain connection
    struct sockaddr_storage address;
    socklen_t address_size;
};

/// Bytes to be sent: what is left of a message that was begun, then the message of this exchange.
struct OutBuffer {
    char* data;
    size_t size;
    size_t capacity;
    size_t sent;         ///< bytes that are out
    size_t message_end;  ///< end of the message that `sent` lies in
};

struct GroupList {
    uint32_t* items;
    size_t count;
    size_t capacity;
};

struct ox_jrpcapi {
    ox_socket socket;
    uint32_t flags;
    int timeout_ms;
    int error;          ///< ox_socket_error of the last operation
    char* destination;  ///< null: the default socket
    int kind;           ///< how a destination without scheme is read
    char* auth;
    char* login;  ///< of the last login by name
    char* password;
    bool logged_in;        ///< that login succeeded; no logout and no accepted token followed
    bool answered;         ///< a message has come from the other side
    bool was_connected;    ///< so a new connection is a reconnection
    bool restore_pending;  ///< login and groups are still to be restored after a reconnection
    json_int_t last_id;
    json_t* unanswered;  ///< ids of requests that may still be answered, or null; cleared with the connection
    GroupList groups;    ///< joined on this connection
    FrameReader in;
    OutBuffer out;
    ox_jrpcapi* next;  ///< of the process's connections, in the order of their creation
};

/// A point in time, in milliseconds of the monotonic clock; NO_DEADLINE for none.
enum : long long { NO_DEADLINE = -1 };
long long deadline_after(int timeout_ms);

// wait.cpp
/// Names what the waits that follow are for, until patience_end: one that lasts is told to the hook of
/// ox_jrpcapi_on_slow. The text must live that long.
void patience_begin(const char* what);
void patience_end(void);
/// Waits for `events` (POLLIN, POLLOUT) on a descriptor: OX_SOCKET_OK, OX_SOCKET_ETIMEOUT or
/// OX_SOCKET_ESYSTEM.
int wait_until(int fd, short events, long long deadline);
/// The same on a connection's own descriptor, for an exchange: what arrives on the other connections
/// meanwhile is read in, so that the daemon never finds them full.
int wait_exchange(const ox_jrpcapi* api, short events, long long deadline);

/// Keeps the text of a failure for ox_socket_strerror and returns `code`.
int socket_failure(int code, const char* text);
/// The socket error for an errno of a system call.
int socket_error_of(int error_number);

/// Connects the socket to a destination text; the descriptor is recorded at once, `connected` set at the end.
int socket_connect(ox_socket* socket, const char* destination, int kind, bool tls, long long deadline);
/// Closes what is open and leaves an unconnected socket.
void socket_close(ox_socket* socket);
/// Bytes taken or given, or a negative socket error: OX_SOCKET_EEMPTY when the call would block. The end of
/// the stream is OX_SOCKET_ECLOSED.
ssize_t socket_read(ox_socket* socket, void* data, size_t size);
ssize_t socket_write(ox_socket* socket, const void* data, size_t size);
/// Decrypted bytes are waiting inside although the descriptor may not be readable.
bool socket_has_pending(const ox_socket* socket);

/// Closes the connection, drops its bytes and records the error, which is returned.
int connection_fail(ox_jrpcapi* api, int error);
/// Reads once what has arrived: OX_SOCKET_OK, OX_SOCKET_EEMPTY, or the error with which the connection was
/// closed.
int connection_fill(ox_jrpcapi* api);
/// Takes the next whole message that has been read: its JSON (a new reference), or null with
/// OX_SOCKET_EEMPTY, OX_SOCKET_EPARTIAL or the error with which the connection was closed. Events go where
/// events go, unless they are kept: then they are taken like other messages. Objects that are no messages are
/// dropped. The id of a response is no longer unanswered.
json_t* connection_take(ox_jrpcapi* api, int* error, bool keep_events);
/// Drops what an abandoned exchange left unsent, except the rest of a message that was begun, and adds the
/// message with its newline. OX_SOCKET_OK, or OX_SOCKET_EPROTO when it cannot be sent (too long).
int out_add_message(ox_jrpcapi* api, const ox_jrpcmsg* message);
/// Sends all that is to be sent.
int out_flush(ox_jrpcapi* api, long long deadline);
void out_reset(OutBuffer* out);

/// The process's connections.
ox_jrpcapi* connections_first(void);
/// Hands an event on: printed, queued, or dropped while nobody takes events. Takes over nothing.
/// Of those that wait only the newest are kept.
void events_deliver(const json_t* event, const char* text, size_t size);
/// Follows descriptors as connections come and go (no-ops until the common descriptor was asked for).
void events_watch(const ox_socket* socket);
void events_unwatch(const ox_socket* socket);
/// The common descriptor, made when it is first asked for; -1 on failure.
int events_descriptor(void);
/// Makes the common descriptor readable exactly while something can be taken.
void events_signal(void);
/// Takes in the events of all connections but one.
void events_collect(const ox_jrpcapi* except);
/// Takes in what one read of a connection gives; responses are late ones and dropped.
void events_collect_some(ox_jrpcapi* api);
/// With the last connection go the common descriptor and the queue.
void events_shutdown(void);
/// The oldest queued event as a message, or null.
ox_jrpcmsg* events_pop(void);
