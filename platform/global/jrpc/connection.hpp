// The record of a connection, and the list of the process's connections.
#pragma once

#include "framing.hpp"
#include "ox_array.hpp"
#include "ox_jrpcapi.hpp"
#include "socket.hpp"

/// Bytes to be sent: what is left of a message that was begun, the request that nobody waits for, then the
/// message of this exchange.
struct OutBuffer {
    ox_array<char> bytes;
    size_t sent;         ///< bytes that are out
    size_t message_end;  ///< end of the message that `sent` lies in
    size_t kept_end;     ///< end of what no later exchange may drop
    size_t blocked;      ///< bytes of the write that would have blocked; an encrypted one must be repeated
};

/// A wait may be left by a jump, so the record is in order before each: a message that is half sent stays in
/// the out buffer.
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
    bool too_large;        ///< the last error was a message that is too long, or takes too much memory
    bool answered;         ///< a message has come from the other side
    bool heard;            ///< one that was waited for has, since this was cleared
    bool babbled;          ///< one without use has, since this was cleared
    bool was_connected;    ///< so a new connection is a reconnection
    bool restore_pending;  ///< login and groups are still to be restored after a reconnection
    json_int_t last_id;
    ox_jrpcmsg* underway;                 ///< the request whose response nobody waits for, borrowed, or null
    const ox_list_taker* underway_taker;  ///< who takes its list, or null
    json_t* unanswered;  ///< ids of requests that may still be answered, or null; cleared with the connection
    const ox_jrpcmsg* taken;     ///< the request whose answer's list is handed on, or null
    const ox_list_taker* taker;  ///< to whom
    ox_array<uint32_t> groups;   ///< joined on this connection
    bool groups_lost;            ///< it was closed since, and nobody was told
    FrameReader in;
    OutBuffer out;
    ox_jrpcapi* next;  ///< in the order of their creation
};

/// The first of the process's connections, or null.
ox_jrpcapi* connections_first(void);
/// A new one at the end of the list, zero but for its socket, which is not open. Never null.
ox_jrpcapi* connection_new(void);
/// Takes it out of the list and releases it. It must be closed (stream_fail).
void connection_free(ox_jrpcapi* api);

/// Puts a copy of `text` (null for none) in the place of the old one.
void connection_set_text(char** place, const char* text);

/// From before the first byte of a request goes out until its answer is there: the exchange may be left by a
/// jump.
void connection_note_unanswered(ox_jrpcapi* api, json_t* id);
bool connection_is_unanswered(const ox_jrpcapi* api, const json_t* id);
/// The request with the id of this response has its answer. False where none waits for one.
bool connection_note_answered(const ox_jrpcapi* api, const json_t* response);

/// Remembers which groups the connection is in after a request that was executed.
void connection_note_groups(ox_jrpcapi* api, const ox_jrpcmsg* message);
bool connection_is_in_group(const ox_jrpcapi* api, uint32_t group);
