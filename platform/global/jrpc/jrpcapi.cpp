#include <poll.h>
#include <stdlib.h>
#include <string.h>

#include "connection.hpp"
#include "jrpcmsg_internal.hpp"
#include "ox_log.hpp"
#include "ox_wait.hpp"

namespace {

enum { DEFAULT_TIMEOUT_MS = 5000, REQUEST_DENIED = 9001 };

ox_jrpcapi* first_connection = nullptr;
void (*mismatch_hook)(ox_jrpcapi*) = nullptr;

char* copy_text(const char* text) {
    char* copy = text ? strdup(text) : nullptr;
    __ox_log_assert(copy || !text, "copy != NULL", "ox_jrpcapi", __LINE__, __func__, "out of memory");
    return copy;
}

void set_text(char** place, const char* text) {
    char* copy = copy_text(text);
    free(*place);
    *place = copy;
}

}  // namespace

ox_jrpcapi* connections_first(void) {
    return first_connection;
}

ox_jrpcapi* ox_jrpcapi_init(void) {
    auto* api = static_cast<ox_jrpcapi*>(calloc(1, sizeof(ox_jrpcapi)));
    __ox_log_assert(api != nullptr, "api != NULL", "ox_jrpcapi", __LINE__, __func__, "out of memory");
    api->socket.fd = -1;
    api->flags = OX_JRPCAPI_RELOGIN;
    api->timeout_ms = DEFAULT_TIMEOUT_MS;
    api->kind = OX_SOCKET_LOCAL;
    ox_jrpcapi** end = &first_connection;
    while (*end) end = &(*end)->next;
    *end = api;
    return api;
}

void ox_jrpcapi_deinit(ox_jrpcapi* api) {
    if (!api) return;
    connection_fail(api, OX_SOCKET_OK);
    for (ox_jrpcapi** link = &first_connection; *link; link = &(*link)->next) {
        if (*link != api) continue;
        *link = api->next;
        break;
    }
    if (!first_connection) events_shutdown();
    free(api->destination);
    free(api->auth);
    free(api->login);
    free(api->password);
    free(api->groups.items);
    free(api);
}

uint32_t ox_jrpcapi_get_flags(const ox_jrpcapi* api) {
    return api->flags;
}

void ox_jrpcapi_set_flags(ox_jrpcapi* api, uint32_t flags) {
    api->flags = flags;
    api->socket.events = (flags & OX_JRPCAPI_EVENTS) != 0;
}

void ox_jrpcapi_set_destination(ox_jrpcapi* api, const char* host, const char* path, int kind) {
    set_text(&api->destination, host ? host : path);
    api->kind = kind;
}

void ox_jrpcapi_set_timeout(ox_jrpcapi* api, int timeout_ms) {
    api->timeout_ms = timeout_ms;
}

int ox_jrpcapi_get_timeout(const ox_jrpcapi* api) {
    return api->timeout_ms;
}

ox_socket* ox_jrpcapi_socket(ox_jrpcapi* api) {
    return api->socket.connected ? &api->socket : nullptr;
}

int ox_jrpcapi_get_socket_err(const ox_jrpcapi* api) {
    return api->error;
}

void ox_jrpcapi_set_auth(ox_jrpcapi* api, int /*kind*/, const char* token, int /*flags*/,
                         int /*timeout_ms*/) {
    set_text(&api->auth, token && *token ? token : nullptr);
}

void ox_jrpcapi_on_mismatch(void (*mismatched)(ox_jrpcapi*)) {
    mismatch_hook = mismatched;
}

const char* ox_jrpcapi_get_auth(const ox_jrpcapi* api) {
    return api->auth;
}

namespace {

/// Waits for the response with this id; what else arrives on the way goes where it belongs.
json_t* await_response(ox_jrpcapi* api, const json_t* id, long long deadline) {
    for (bool late = false;;) {
        int rc = OX_SOCKET_OK;
        json_t* json = nullptr;
        while ((json = connection_take(api, &rc, false))) {
            bool mine = !json_object_get(json, "method") && json_equal(json_object_get(json, "id"), id) &&
                        (!json_is_null(id) || !json_object_get(json, "error"));
            if (mine) return json;
            json_decref(json);
        }
        if (rc != OX_SOCKET_EEMPTY && rc != OX_SOCKET_EPARTIAL) return nullptr;
        events_signal();
        if (late) {
            api->error = OX_SOCKET_ETIMEOUT;
            return nullptr;
        }
        // Whatever else keeps arriving, the time ends the exchange.
        late = deadline != NO_DEADLINE && ox_wait_now_ms() >= deadline;
        rc = socket_has_pending(&api->socket) ? OX_SOCKET_OK : wait_exchange(api, POLLIN, deadline);
        if (rc == OX_SOCKET_OK) rc = connection_fill(api);
        if (rc == OX_SOCKET_OK || rc == OX_SOCKET_EEMPTY) continue;
        api->error = rc;
        return nullptr;
    }
}

bool is_unanswered(const ox_jrpcapi* api, const json_t* id) {
    for (size_t i = 0; i < json_array_size(api->unanswered); ++i) {
        if (json_equal(json_array_get(api->unanswered, i), id)) return true;
    }
    return false;
}

/// Every request of the library's own numbering gets a new id, so that no late answer matches it.
void number(ox_jrpcapi* api, ox_jrpcmsg* message) {
    if (!json_object_get(message->json, "id")) message->numbered = true;
    if (!message->numbered) return;
    do {
        json_object_set_new(message->json, "id", json_integer(++api->last_id));
    } while (is_unanswered(api, json_object_get(message->json, "id")));
}

/// A request that brings its own id must not get the late answer of one that bore the same: the connection on
/// which that may come is closed.
void leave_unanswered(ox_jrpcapi* api, const ox_jrpcmsg* message) {
    const json_t* id = message->numbered ? nullptr : json_object_get(message->json, "id");
    if (id && is_unanswered(api, id)) connection_fail(api, OX_SOCKET_OK);
}

/// From before the first byte goes out until the answer is there: the exchange may be left by a jump.
void note_unanswered(ox_jrpcapi* api, json_t* id) {
    if (!api->unanswered) api->unanswered = json_array();
    json_array_append(api->unanswered, id);
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
    int rc = out_add_message(api, message);
    if (rc != OX_SOCKET_OK) return api->error = rc;
    json_t* id = json_object_get(message->json, "id");
    note_unanswered(api, id);
    rc = out_flush(api, deadline);
    if (rc != OX_SOCKET_OK) return rc;
    json_t* response = await_response(api, id, deadline);
    if (!response) return api->error;
    ox_jrpcmsg_take_response(message, response);
    json_decref(response);
    if (carries_token(api, message) && message->error_code != REQUEST_DENIED) api->logged_in = false;
    return api->error = OX_SOCKET_OK;
}

ox_jrpcmsg* login_message(const char* login, const char* password) {
    json_t* params = json_object();
    json_object_set_new(params, "Login", login ? jrpcmsg_text(login) : json_null());
    json_object_set_new(params, "Password", password ? jrpcmsg_text(password) : json_null());
    return ox_jrpcmsg_create_new("Login", params);
}

int exchange_and_free(ox_jrpcapi* api, ox_jrpcmsg* message, long long deadline) {
    int rc = message ? exchange(api, message, deadline) : static_cast<int>(OX_SOCKET_ENOMEM);
    if (rc == OX_SOCKET_OK) rc = message->error_code;
    ox_jrpcmsg_free(message);
    return rc;
}

/// After a reconnection: the login and the groups of the connection that was lost. A daemon that refuses them
/// now is obeyed; only the loss of the connection is an error here.
int restore(ox_jrpcapi* api, long long deadline) {
    if ((api->flags & OX_JRPCAPI_RELOGIN) && api->logged_in) {
        exchange_and_free(api, login_message(api->login, api->password), deadline);
        if (api->error != OX_SOCKET_OK) return api->error;
    }
    for (size_t i = 0; i < api->groups.count; ++i) {
        exchange_and_free(api, ox_jrpcmsg_cmd_join_group(api->groups.items[i]), deadline);
        if (api->error != OX_SOCKET_OK) return api->error;
    }
    api->restore_pending = false;
    return OX_SOCKET_OK;
}

int connect_until(ox_jrpcapi* api, long long deadline) {
    if (!api->socket.connected) {
        connection_fail(api, api->error);  // what a jump may have left of an earlier attempt
        const char* destination = api->destination ? api->destination : OX_JRPCAPI_DEFAULT_SOCKET;
        bool tls = (api->flags & OX_JRPCAPI_SSL) != 0;
        api->error = socket_connect(&api->socket, destination, api->kind, tls, deadline);
        if (api->error != OX_SOCKET_OK) return api->error;
        api->restore_pending = api->was_connected;
        api->was_connected = true;
        events_watch(&api->socket);
    }
    return api->restore_pending ? restore(api, deadline) : api->error = OX_SOCKET_OK;
}

uint32_t* find_group(GroupList* groups, uint32_t group) {
    for (size_t i = 0; i < groups->count; ++i) {
        if (groups->items[i] == group) return &groups->items[i];
    }
    return nullptr;
}

/// Remembers which groups the connection is in.
void note_groups(ox_jrpcapi* api, const ox_jrpcmsg* message) {
    const char* method = json_string_value(json_object_get(message->json, "method"));
    if (!method || message->error_code != 0) return;
    bool join = strcmp(method, "JoinGroup") == 0;
    if (!join && strcmp(method, "LeaveGroup") != 0) return;
    GroupList* groups = &api->groups;
    const json_t* params = json_object_get(message->json, "params");
    auto group = static_cast<uint32_t>(json_integer_value(json_object_get(params, "Group")));
    uint32_t* found = find_group(groups, group);
    if (!join && found) *found = groups->items[--groups->count];
    if (!join || found) return;
    if (groups->count == groups->capacity) {
        size_t capacity = groups->capacity ? groups->capacity * 2 : 8;
        auto* items = static_cast<uint32_t*>(realloc(groups->items, capacity * sizeof(uint32_t)));
        if (!items) return;
        groups->items = items;
        groups->capacity = capacity;
    }
    groups->items[groups->count++] = group;
}

}  // namespace

int ox_jrpcapi_connect(ox_jrpcapi* api) {
    patience_begin("the connection");
    int rc = connect_until(api, deadline_after(api->timeout_ms));
    patience_end();
    events_signal();
    return rc;
}

int ox_jrpcapi_exec(ox_jrpcapi* api, ox_jrpcmsg* message) {
    if (!message) return api->error = OX_SOCKET_ENOMEM;
    long long deadline = deadline_after(api->timeout_ms);
    patience_begin(json_string_value(json_object_get(message->json, "method")));
    leave_unanswered(api, message);
    int rc = connect_until(api, deadline);
    if (rc == OX_SOCKET_OK) rc = exchange(api, message, deadline);
    patience_end();
    if (rc == OX_SOCKET_OK) {
        note_groups(api, message);
    } else {
        ox_jrpcmsg_set_error(message, rc, ox_socket_strerror(rc), nullptr);
    }
    events_signal();
    bool mismatch = rc == OX_SOCKET_ETLS && !api->answered && !(api->flags & OX_JRPCAPI_SSL);
    if (mismatch && mismatch_hook) mismatch_hook(api);
    return rc;
}

int ox_jrpcapi_send(ox_jrpcapi* api, ox_jrpcmsg* message) {
    if (!message) return api->error = OX_SOCKET_ENOMEM;
    long long deadline = deadline_after(api->timeout_ms);
    if (message->numbered) json_object_del(message->json, "id");
    patience_begin(json_string_value(json_object_get(message->json, "method")));
    int rc = connect_until(api, deadline);
    if (rc == OX_SOCKET_OK) rc = out_add_message(api, message);
    if (rc == OX_SOCKET_OK) rc = out_flush(api, deadline);
    patience_end();
    events_signal();
    return api->error = rc;
}

namespace {

/// The next message that is no response from what arrived on the connection itself.
ox_jrpcmsg* take_own(ox_jrpcapi* api, int* error) {
    do {
        json_t* json = nullptr;
        while ((json = connection_take(api, error, true))) {
            if (!json_object_get(json, "method")) {
                json_decref(json);
                continue;
            }
            ox_jrpcmsg* message = jrpcmsg_adopt(json);
            if (message) return message;
        }
        if (*error != OX_SOCKET_EEMPTY && *error != OX_SOCKET_EPARTIAL) return nullptr;
        int rc = connection_fill(api);
        if (rc == OX_SOCKET_EEMPTY) return nullptr;
        *error = rc;
    } while (*error == OX_SOCKET_OK);
    return nullptr;
}

ox_jrpcmsg* receive(ox_jrpcapi* api) {
    bool takes_all = (api->flags & OX_JRPCAPI_EVENTS) != 0;
    ox_jrpcmsg* message = takes_all ? events_pop() : nullptr;
    if (message) return message;
    int error = api->error == OX_SOCKET_OK ? static_cast<int>(OX_SOCKET_ECLOSED) : api->error;
    if (api->socket.connected) message = take_own(api, &error);
    if (!message && takes_all) {
        events_collect(api);
        message = events_pop();
    }
    if (!message) api->error = error;
    return message;
}

}  // namespace

ox_jrpcmsg* ox_jrpcapi_recv(ox_jrpcapi* api) {
    ox_jrpcmsg* message = receive(api);
    if (message && api->socket.connected) api->error = OX_SOCKET_OK;
    events_signal();
    return message;
}

namespace {

/// Executes a request for its outcome alone, once more when the connection had been lost.
int exec_for_code(ox_jrpcapi* api, ox_jrpcmsg* message) {
    int rc = ox_jrpcapi_exec(api, message);
    if (rc == OX_SOCKET_ECLOSED) rc = ox_jrpcapi_exec(api, message);
    if (rc == OX_SOCKET_OK) rc = message->error_code;
    ox_jrpcmsg_free(message);
    return rc;
}

}  // namespace

int ox_jrpcapi_login(ox_jrpcapi* api, const char* login, const char* password) {
    set_text(&api->login, login);
    set_text(&api->password, password);
    api->logged_in = false;
    int rc = exec_for_code(api, login_message(login, password));
    api->logged_in = rc == 0;
    if (rc == 0) set_text(&api->auth, nullptr);
    return rc;
}

int ox_jrpcapi_logout(ox_jrpcapi* api) {
    api->logged_in = false;
    return exec_for_code(api, ox_jrpcmsg_create_new("Logout", nullptr));
}
