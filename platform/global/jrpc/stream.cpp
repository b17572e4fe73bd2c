#include "stream.hpp"

#include <poll.h>
#include <string.h>

#include "hub.hpp"
#include "jrpcevents.hpp"
#include "ox_memory.hpp"
#include "socket_error.hpp"
#include "underway.hpp"
#include "wait.hpp"

namespace {

enum { READ_ROOM = 2048, KEPT_CAPACITY = 64 << 10 };
/// At once: what is read is parsed before anything else is served.
constexpr size_t READ_MAX = 16 << 10;

int dump_to_out(const char* text, size_t size, void* context) {
    return static_cast<OutBuffer*>(context)->bytes.append(text, size) ? 0 : -1;
}

/// Leaves only the rest of a message that was begun. An encrypted connection must repeat the very write that
/// would have blocked, so there what is in the buffer stays.
void drop_abandoned(ox_jrpcapi* api) {
    OutBuffer* out = &api->out;
    if (api->socket.tls) return;
    size_t begun = out->sent > 0 ? out->message_end : 0;
    out->bytes.size = begun > out->kept_end ? begun : out->kept_end;
    if (out->sent == 0) out->message_end = out->kept_end;
}

/// The connection's token goes into the text that is sent, never into the message itself.
bool append_auth(OutBuffer* out, const char* auth) {
    json_t* value = ox_jrpcmsg_text(auth);
    out->bytes.size -= 1;  // the closing brace
    bool fine = out->bytes.append(",\"auth\":", 8) &&
                json_dump_callback(value, dump_to_out, out, JSON_ENCODE_ANY) == 0 &&
                out->bytes.append("}", 1);
    json_decref(value);
    return fine;
}

bool wants_auth(const ox_jrpcapi* api, const ox_jrpcmsg* message) {
    int kind = api->auth ? ox_jrpcmsg_typeof(message) : 0;
    return (kind == OX_JRPCMSG_REQUEST || kind == OX_JRPCMSG_NOTIFICATION) &&
           !json_object_get(message->json, "auth");
}

}  // namespace

int stream_add(ox_jrpcapi* api, const ox_jrpcmsg* message) {
    OutBuffer* out = &api->out;
    drop_abandoned(api);
    size_t begin = out->bytes.size;
    ox_memory_take_failure();
    bool fine = json_dump_callback(message->json, dump_to_out, out, JSON_COMPACT) == 0;
    if (fine && wants_auth(api, message)) fine = append_auth(out, api->auth);
    // The JSON library goes on where a member's name could not be added.
    bool whole = !ox_memory_take_failure();
    if (fine && whole && out->bytes.size - begin <= FRAME_MESSAGE_MAX && out->bytes.append("\n", 1)) {
        if (begin == 0) out->message_end = out->bytes.size;
        return OX_SOCKET_OK;
    }
    out->bytes.size = begin;
    if (!whole) return OX_SOCKET_ENOMEM;
    return socket_failure(OX_SOCKET_EPROTO, "The message cannot be sent: too long or no text");
}

int stream_push(ox_jrpcapi* api) {
    OutBuffer* out = &api->out;
    while (out->sent < out->bytes.size) {
        size_t size = out->blocked > 0 ? out->blocked : out->bytes.size - out->sent;
        ssize_t count = socket_write(&api->socket, out->bytes.data + out->sent, size);
        out->blocked = count == OX_SOCKET_EEMPTY && api->socket.tls ? size : 0;
        if (count == 0 || count == OX_SOCKET_EEMPTY) return OX_SOCKET_EEMPTY;
        if (count < 0) return stream_fail(api, static_cast<int>(count));
        out->sent += static_cast<size_t>(count);
        if (out->sent <= out->message_end) continue;
        out->message_end = out->sent <= out->kept_end ? out->kept_end : out->bytes.size;
    }
    out->bytes.size = out->sent = out->message_end = out->kept_end = 0;
    if (out->bytes.capacity > KEPT_CAPACITY) out->bytes.clear();
    return OX_SOCKET_OK;
}

int stream_flush(ox_jrpcapi* api, long long deadline) {
    for (bool late = false;;) {
        int rc = stream_push(api);
        if (rc != OX_SOCKET_EEMPTY) return rc;
        // A peer that writes before it reads must not block both sides.
        bool may_read = api->in.bytes.size < FRAME_MESSAGE_MAX;
        if (late) return api->error = OX_SOCKET_ETIMEOUT;
        late = deadline_passed(deadline);
        rc = wait_exchange(api, static_cast<short>(may_read ? POLLOUT | POLLIN : POLLOUT), deadline);
        if (rc != OX_SOCKET_OK) return api->error = rc;
        if (!may_read) continue;
        rc = stream_fill(api);
        if (rc != OX_SOCKET_OK && rc != OX_SOCKET_EEMPTY) return rc;
    }
}

int stream_fail(ox_jrpcapi* api, int error) {
    if (api->socket.connected && api->groups.size > 0) api->groups_lost = true;
    socket_close(&api->socket);
    frame_reset(&api->in);
    api->out.bytes.clear();
    api->out = OutBuffer{};
    json_decref(api->unanswered);
    api->unanswered = nullptr;
    underway_fail(api, error);
    return api->error = error;
}

int stream_fill(ox_jrpcapi* api) {
    size_t room = 0;
    char* place = frame_room(&api->in, READ_ROOM, &room);
    if (!place) return stream_fail(api, OX_SOCKET_ENOMEM);
    ssize_t count = socket_read(&api->socket, place, room < READ_MAX ? room : READ_MAX);
    if (count > 0) {
        frame_added(&api->in, static_cast<size_t>(count));
        return OX_SOCKET_OK;
    }
    if (count == OX_SOCKET_EEMPTY) return OX_SOCKET_EEMPTY;
    return stream_fail(api, static_cast<int>(count));
}

namespace {

/// The error of bytes that are no message. A server that expects TLS answers plain text with an alert.
int broken_bytes(ox_jrpcapi* api) {
    frame_fault fault = frame_fault_of(&api->in);
    api->too_large = fault == FRAME_LONG || fault == FRAME_LARGE;
    switch (fault) {
        case FRAME_MEMORY:
            return OX_SOCKET_ENOMEM;
        case FRAME_NUMBER:
            return socket_failure(OX_SOCKET_EPROTO, "Broken message: a number is beyond 64 bits");
        case FRAME_LONG:
            return socket_failure(OX_SOCKET_EPROTO, "Broken message: it is longer than 64 MiB");
        case FRAME_LARGE:
            return socket_failure(OX_SOCKET_EPROTO, "Broken message: it takes too much memory");
        case FRAME_BROKEN:
            break;
    }
    size_t size = 0;
    const char* bytes = frame_begin(&api->in, &size);
    bool tls = size >= 2 && (bytes[0] == 0x15 || bytes[0] == 0x16) && bytes[1] == 3;
    if (tls && !api->socket.tls) return socket_failure(OX_SOCKET_ETLS, "the other side speaks TLS");
    return socket_failure(OX_SOCKET_EPROTO, "Broken message");
}

bool is_response(int kind) {
    return kind == OX_JRPCMSG_RESULT || kind == OX_JRPCMSG_ERROR;
}

/// Whether the message is one that was asked for: it shows that the daemon is at work.
bool is_of_use(const ox_jrpcapi* api, int kind, const json_t* json) {
    if (is_response(kind)) return connection_note_answered(api, json);
    if (kind != OX_JRPCMSG_EVENT) return false;
    json_int_t group = json_integer_value(json_object_get(json, "group"));
    return connection_is_in_group(api, static_cast<uint32_t>(group));
}

}  // namespace

json_t* stream_take(ox_jrpcapi* api, int* error, bool keep_events) {
    for (;;) {
        *error = frame_find(&api->in);
        if (*error == OX_SOCKET_EPROTO) *error = stream_fail(api, broken_bytes(api));
        if (*error != OX_SOCKET_OK) return nullptr;
        size_t size = 0;
        const char* text = frame_text(&api->in, &size);
        json_t* json = frame_json(&api->in);
        api->answered = true;
        int kind = ox_jrpcmsg_kind_of(json);
        (is_of_use(api, kind, json) ? api->heard : api->babbled) = true;
        bool deliver = kind == OX_JRPCMSG_EVENT && !keep_events;
        if (deliver) events_deliver(json, text, size);
        frame_consume(&api->in);
        bool taken = deliver || (is_response(kind) && underway_take(api, json));
        if (kind != 0 && !taken) return json;
        json_decref(json);
    }
}
