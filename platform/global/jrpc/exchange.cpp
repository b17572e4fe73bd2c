#include "exchange.hpp"

#include <poll.h>

#include "connect.hpp"
#include "hub.hpp"
#include "ox_jrpccmd.hpp"
#include "stream.hpp"
#include "underway.hpp"
#include "wait.hpp"

namespace {

enum { REQUEST_DENIED = 9001 };

/// Responses come in order, so the time that the one underway takes is not that of the requests behind it:
/// its end, and while it is a long one its bytes, give them their time anew.
bool underway_moves(const ox_jrpcapi* api, bool* ahead, bool partial) {
    bool was_ahead = *ahead;
    *ahead = api->underway != nullptr;
    return was_ahead && (!*ahead || (partial && api->in.dropped > 0));
}

/// Whether what was read shows that the daemon is at work: a message of use, or nothing but blanks; but not
/// the first ones behind a message without use.
bool shows_work(ox_jrpcapi* api, bool blanks, bool* babbling) {
    bool shows = api->heard || (blanks && !api->babbled && !*babbling);
    *babbling = api->babbled || (*babbling && !blanks);
    api->heard = api->babbled = false;
    return shows;
}

/// Waits for the response with this id, or (null) for the end of the request underway; what else arrives on
/// the way goes where it belongs. Without a time-out of the connection, each message of use that arrives, and
/// each blank between messages, gives the daemon time anew.
json_t* await_response(ox_jrpcapi* api, const json_t* id, long long deadline) {
    bool patient = api->timeout_ms < 0;
    bool ahead = api->underway != nullptr;
    api->heard = patient;
    api->babbled = false;
    bool babbling = false;
    bool filled = true;
    for (bool late = false;;) {
        int rc = OX_SOCKET_OK;
        json_t* json = nullptr;
        while ((json = stream_take(api, &rc, false))) {
            bool mine = !json_object_get(json, "method") && json_equal(json_object_get(json, "id"), id) &&
                        (!json_is_null(id) || !json_object_get(json, "error"));
            if (mine) return json;
            json_decref(json);
        }
        if (rc != OX_SOCKET_EEMPTY && rc != OX_SOCKET_EPARTIAL) return nullptr;
        hub_signal();
        if (!id && !api->underway) return nullptr;
        bool at_work = shows_work(api, filled && rc == OX_SOCKET_EEMPTY, &babbling);
        if (underway_moves(api, &ahead, rc == OX_SOCKET_EPARTIAL) || (patient && at_work)) {
            deadline = deadline_of_exchange(api->timeout_ms);
        } else if (late) {
            api->error = OX_SOCKET_ETIMEOUT;
            return nullptr;
        }
        // Whatever else keeps arriving, the time ends the exchange.
        late = deadline_passed(deadline);
        rc = socket_has_pending(&api->socket) ? OX_SOCKET_OK : wait_exchange(api, POLLIN, deadline);
        if (rc == OX_SOCKET_OK) rc = stream_fill(api);
        filled = rc == OX_SOCKET_OK;
        if (rc == OX_SOCKET_OK || rc == OX_SOCKET_EEMPTY) continue;
        api->error = rc;
        return nullptr;
    }
}

/// Every request of the library's own numbering gets a new id, so that no late answer matches it.
void number(ox_jrpcapi* api, ox_jrpcmsg* message) {
    if (!json_object_get(message->json, "id")) message->numbered = true;
    if (!message->numbered) return;
    do {
        json_object_set_new(message->json, "id", json_integer(++api->last_id));
    } while (connection_is_unanswered(api, json_object_get(message->json, "id")));
}

/// A request that brings its own id must not get the late answer of one that bore the same: the connection on
/// which that may come is closed.
void leave_unanswered(ox_jrpcapi* api, const ox_jrpcmsg* message) {
    const json_t* id = message->numbered ? nullptr : json_object_get(message->json, "id");
    if (id && connection_is_unanswered(api, id)) stream_fail(api, OX_SOCKET_OK);
}

/// An accepted token ends the connection's login by name at the daemon, which refuses any other.
bool carries_token(const ox_jrpcapi* api, const ox_jrpcmsg* message) {
    const json_t* own = json_object_get(message->json, "auth");
    return own ? json_string_length(own) > 0 : api->auth != nullptr;
}

/// One exchange on a connection that is there.
int exchange(ox_jrpcapi* api, ox_jrpcmsg* message, long long deadline) {
    ox_jrpcmsg_set_result_new(message, nullptr);
    number(api, message);
    int rc = stream_add(api, message);
    if (rc != OX_SOCKET_OK) return api->error = rc;
    json_t* id = json_object_get(message->json, "id");
    connection_note_unanswered(api, id);
    rc = stream_flush(api, deadline);
    if (rc != OX_SOCKET_OK) return rc;
    json_t* response = await_response(api, id, deadline);
    if (!response) return api->error;
    underway_fail(api, OX_SOCKET_ETIMEOUT);  // it was sent before this one: its response will not come
    ox_jrpcmsg_take_response(message, response);
    json_decref(response);
    if (carries_token(api, message) && message->error_code != REQUEST_DENIED) api->logged_in = false;
    return api->error = OX_SOCKET_OK;
}

/// The message is freed, also where the exchange is left by a jump.
int exchange_and_free(ox_jrpcapi* api, ox_jrpcmsg* request, long long deadline) {
    MsgRef message(request);
    int rc = message ? exchange(api, message, deadline) : static_cast<int>(OX_SOCKET_ENOMEM);
    return rc == OX_SOCKET_OK ? message->error_code : rc;
}

/// After a reconnection: the login and the groups of the connection that was lost. A daemon that refuses them
/// now is obeyed; only the loss of the connection is an error here.
int restore(ox_jrpcapi* api, long long deadline) {
    if ((api->flags & OX_JRPCAPI_RELOGIN) && api->logged_in) {
        exchange_and_free(api, exchange_login_message(api->login, api->password), deadline);
        if (api->error != OX_SOCKET_OK) return api->error;
    }
    for (uint32_t group : api->groups) {
        exchange_and_free(api, ox_jrpcmsg_cmd_join_group(group), deadline);
        if (api->error != OX_SOCKET_OK) return api->error;
    }
    api->restore_pending = false;
    return OX_SOCKET_OK;
}

}  // namespace

ox_jrpcmsg* exchange_login_message(const char* login, const char* password) {
    json_t* params = json_object();
    json_object_set_new(params, "Login", login ? ox_jrpcmsg_text(login) : json_null());
    json_object_set_new(params, "Password", password ? ox_jrpcmsg_text(password) : json_null());
    return ox_jrpcmsg_create_new("Login", params);
}

int exchange_connect(ox_jrpcapi* api, long long deadline) {
    if (!api->socket.connected) {
        stream_fail(api, api->error);  // what a jump may have left of an earlier attempt
        const char* destination = api->destination ? api->destination : ox_jrpcapi_default_destination();
        bool tls = (api->flags & OX_JRPCAPI_SSL) != 0;
        api->error = socket_connect(&api->socket, destination, api->kind, tls, deadline);
        if (api->error != OX_SOCKET_OK) return api->error;
        api->restore_pending = api->was_connected;
        api->was_connected = true;
        hub_watch(&api->socket);
    }
    return api->restore_pending ? restore(api, deadline) : api->error = OX_SOCKET_OK;
}

int exchange_run(ox_jrpcapi* api, ox_jrpcmsg* message, long long deadline) {
    leave_unanswered(api, message);
    int rc = exchange_connect(api, deadline);
    return rc == OX_SOCKET_OK ? exchange(api, message, deadline) : rc;
}

int exchange_begin(ox_jrpcapi* api, ox_jrpcmsg* message) {
    if (!api->socket.connected || api->restore_pending) return OX_SOCKET_ECLOSED;
    ox_jrpcmsg_set_result_new(message, nullptr);
    number(api, message);
    int rc = stream_add(api, message);
    if (rc != OX_SOCKET_OK) return rc;
    api->out.kept_end = api->out.bytes.size;
    connection_note_unanswered(api, json_object_get(message->json, "id"));
    api->underway = message;
    rc = stream_push(api);
    return rc == OX_SOCKET_EEMPTY ? static_cast<int>(OX_SOCKET_OK) : rc;
}

int exchange_finish(ox_jrpcapi* api, long long deadline) {
    int rc = stream_flush(api, deadline);
    if (rc != OX_SOCKET_OK || !api->underway) return rc;
    api->error = OX_SOCKET_OK;
    await_response(api, nullptr, deadline);
    return api->error;
}
