// Messages in and out of a connection's buffers.
#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>

#include "connection.hpp"
#include "jrpcmsg_internal.hpp"

namespace {

enum { READ_ROOM = 2048, KEPT_CAPACITY = 64 << 10 };

bool out_append(OutBuffer* out, const char* data, size_t size) {
    if (out->capacity - out->size < size) {
        size_t capacity = out->capacity ? out->capacity : 1024;
        while (capacity - out->size < size) capacity *= 2;
        auto* grown = static_cast<char*>(realloc(out->data, capacity));
        if (!grown) return false;
        out->data = grown;
        out->capacity = capacity;
    }
    memcpy(out->data + out->size, data, size);
    out->size += size;
    return true;
}

int dump_to_out(const char* text, size_t size, void* context) {
    return out_append(static_cast<OutBuffer*>(context), text, size) ? 0 : -1;
}

/// Leaves only the rest of a message that was begun. An encrypted connection must repeat the very write that
/// would have blocked, so there what is in the buffer stays.
void drop_abandoned(ox_jrpcapi* api) {
    OutBuffer* out = &api->out;
    if (out->sent > 0 || api->socket.tls) {
        if (out->size > out->message_end && !api->socket.tls) out->size = out->message_end;
        return;
    }
    out->size = 0;
    out->message_end = 0;
}

/// The connection's token goes into the text that is sent, never into the message itself.
bool append_auth(OutBuffer* out, const char* auth) {
    json_t* value = jrpcmsg_text(auth);
    out->size -= 1;  // the closing brace
    bool fine = out_append(out, ",\"auth\":", 8) &&
                json_dump_callback(value, dump_to_out, out, JSON_ENCODE_ANY) == 0 && out_append(out, "}", 1);
    json_decref(value);
    return fine;
}

bool wants_auth(const ox_jrpcapi* api, const ox_jrpcmsg* message) {
    int kind = api->auth ? ox_jrpcmsg_typeof(message) : 0;
    return (kind == OX_JRPCMSG_REQUEST || kind == OX_JRPCMSG_NOTIFICATION) &&
           !json_object_get(message->json, "auth");
}

}  // namespace

void out_reset(OutBuffer* out) {
    free(out->data);
    *out = OutBuffer{};
}

int out_add_message(ox_jrpcapi* api, const ox_jrpcmsg* message) {
    OutBuffer* out = &api->out;
    drop_abandoned(api);
    size_t begin = out->size;
    bool fine = json_dump_callback(message->json, dump_to_out, out, JSON_COMPACT) == 0;
    if (fine && wants_auth(api, message)) fine = append_auth(out, api->auth);
    if (fine && out->size - begin <= FRAME_MESSAGE_MAX && out_append(out, "\n", 1)) {
        if (begin == 0) out->message_end = out->size;
        return OX_SOCKET_OK;
    }
    out->size = begin;
    return socket_failure(OX_SOCKET_EPROTO, "The message cannot be sent: too long or no text");
}

int out_flush(ox_jrpcapi* api, long long deadline) {
    OutBuffer* out = &api->out;
    while (out->sent < out->size) {
        ssize_t count = socket_write(&api->socket, out->data + out->sent, out->size - out->sent);
        if (count > 0) {
            out->sent += static_cast<size_t>(count);
            if (out->sent > out->message_end) out->message_end = out->size;
            continue;
        }
        if (count < 0 && count != OX_SOCKET_EEMPTY) return connection_fail(api, static_cast<int>(count));
        // A peer that writes before it reads must not block both sides.
        bool may_read = api->in.size < FRAME_MESSAGE_MAX;
        int rc = wait_exchange(api, static_cast<short>(may_read ? POLLOUT | POLLIN : POLLOUT), deadline);
        if (rc != OX_SOCKET_OK) return api->error = rc;
        if (!may_read) continue;
        rc = connection_fill(api);
        if (rc != OX_SOCKET_OK && rc != OX_SOCKET_EEMPTY) return rc;
    }
    out->size = out->sent = out->message_end = 0;
    if (out->capacity > KEPT_CAPACITY) out_reset(out);
    return OX_SOCKET_OK;
}

int connection_fail(ox_jrpcapi* api, int error) {
    socket_close(&api->socket);
    frame_reset(&api->in);
    out_reset(&api->out);
    json_decref(api->unanswered);
    api->unanswered = nullptr;
    return api->error = error;
}

int connection_fill(ox_jrpcapi* api) {
    size_t room = 0;
    char* place = frame_room(&api->in, READ_ROOM, &room);
    if (!place) return connection_fail(api, OX_SOCKET_ENOMEM);
    ssize_t count = socket_read(&api->socket, place, room);
    if (count > 0) {
        frame_added(&api->in, static_cast<size_t>(count));
        return OX_SOCKET_OK;
    }
    if (count == OX_SOCKET_EEMPTY) return OX_SOCKET_EEMPTY;
    return connection_fail(api, static_cast<int>(count));
}

namespace {

/// The error of bytes that are no message. A server that expects TLS answers plain text with an alert.
int broken_bytes(const ox_jrpcapi* api) {
    const FrameReader* reader = &api->in;
    const char* bytes = reader->data + reader->start;
    bool tls = reader->size - reader->start >= 2 && (bytes[0] == 0x15 || bytes[0] == 0x16) && bytes[1] == 3;
    if (tls && !api->socket.tls) return socket_failure(OX_SOCKET_ETLS, "the other side speaks TLS");
    return socket_failure(OX_SOCKET_EPROTO, "Broken message");
}

void note_answered(const ox_jrpcapi* api, const json_t* response) {
    const json_t* id = json_object_get(response, "id");
    for (size_t i = 0; i < json_array_size(api->unanswered); ++i) {
        if (!json_equal(json_array_get(api->unanswered, i), id)) continue;
        json_array_remove(api->unanswered, i);
        return;
    }
}

int broken_json(const json_error_t* why) {
    bool number = json_error_code(why) == json_error_numeric_overflow;
    return socket_failure(OX_SOCKET_EPROTO,
                          number ? "Broken message: a number is beyond 64 bits" : "Broken message");
}

}  // namespace

json_t* connection_take(ox_jrpcapi* api, int* error, bool keep_events) {
    for (;;) {
        *error = frame_find(&api->in);
        if (*error == OX_SOCKET_EPROTO) *error = connection_fail(api, broken_bytes(api));
        if (*error != OX_SOCKET_OK) return nullptr;
        size_t size = 0;
        const char* text = frame_text(&api->in, &size);
        bool text_kept = false;
        json_error_t why = {};
        json_t* json = frame_parse(&api->in, &text_kept, &why);
        if (!json) {
            *error = connection_fail(api, broken_json(&why));
            return nullptr;
        }
        api->answered = true;
        int kind = jrpcmsg_kind_of(json);
        bool deliver = kind == OX_JRPCMSG_EVENT && !keep_events;
        if (deliver) events_deliver(json, text_kept ? text : nullptr, size);
        if (kind == OX_JRPCMSG_RESULT || kind == OX_JRPCMSG_ERROR) note_answered(api, json);
        frame_consume(&api->in);
        if (kind != 0 && !deliver) return json;
        json_decref(json);
    }
}
