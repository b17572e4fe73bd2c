#include <stdlib.h>

#include "connection.hpp"
#include "event_queue.hpp"
#include "exchange.hpp"
#include "hub.hpp"
#include "jrpcevents.hpp"
#include "ox_tr_names.hpp"
#include "stream.hpp"
#include "wait.hpp"

namespace {

void (*mismatch_hook)(ox_jrpcapi*) = nullptr;

}  // namespace

const char* ox_jrpcapi_default_destination(void) {
    const char* destination = getenv("OBXD_SOCKET");
    return destination && *destination ? destination : OX_JRPCAPI_DEFAULT_SOCKET;
}

ox_jrpcapi* ox_jrpcapi_init(void) {
    ox_jrpcapi* api = connection_new();
    api->flags = OX_JRPCAPI_RELOGIN;
    api->timeout_ms = OX_JRPCAPI_TIMEOUT_MS;
    api->kind = OX_SOCKET_LOCAL;
    return api;
}

void ox_jrpcapi_deinit(ox_jrpcapi* api) {
    if (!api) return;
    stream_fail(api, OX_SOCKET_OK);
    connection_free(api);
    if (!connections_first()) events_shutdown();
}

uint32_t ox_jrpcapi_get_flags(const ox_jrpcapi* api) {
    return api->flags;
}

void ox_jrpcapi_set_flags(ox_jrpcapi* api, uint32_t flags) {
    api->flags = flags;
    api->socket.events = (flags & OX_JRPCAPI_EVENTS) != 0;
}

void ox_jrpcapi_set_destination(ox_jrpcapi* api, const char* host, const char* path, int kind) {
    connection_set_text(&api->destination, host ? host : path);
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

int ox_jrpcapi_patience_ms(void) {
    return patience_ms();
}

void ox_jrpcapi_set_auth(ox_jrpcapi* api, int /*kind*/, const char* token, int /*flags*/,
                         int /*timeout_ms*/) {
    connection_set_text(&api->auth, token && *token ? token : nullptr);
}

void ox_jrpcapi_on_slow(void (*slow)(const char* what)) {
    patience_on_slow(slow);
}

void ox_jrpcapi_on_mismatch(void (*mismatched)(ox_jrpcapi*)) {
    mismatch_hook = mismatched;
}

const char* ox_jrpcapi_get_auth(const ox_jrpcapi* api) {
    return api->auth;
}

int ox_jrpcapi_connect(ox_jrpcapi* api) {
    return ox_jrpcapi_connect_within(api, api->timeout_ms);
}

int ox_jrpcapi_connect_within(ox_jrpcapi* api, int timeout_ms) {
    patience_begin("the connection");
    int rc = exchange_connect(api, deadline_of_exchange(timeout_ms));
    patience_end();
    hub_signal();
    return rc;
}

int ox_jrpcapi_exec(ox_jrpcapi* api, ox_jrpcmsg* message) {
    if (!message) return api->error = OX_SOCKET_ENOMEM;
    long long deadline = deadline_of_exchange(api->timeout_ms);
    patience_begin(json_string_value(json_object_get(message->json, "method")));
    int rc = exchange_run(api, message, deadline);
    patience_end();
    if (rc == OX_SOCKET_OK) {
        connection_note_groups(api, message);
    } else {
        ox_jrpcmsg_set_error(message, rc, ox_socket_strerror(rc), nullptr);
    }
    hub_signal();
    bool mismatch = rc == OX_SOCKET_ETLS && !api->answered && !(api->flags & OX_JRPCAPI_SSL);
    if (mismatch && mismatch_hook) mismatch_hook(api);
    return rc;
}

namespace {

/// Who takes the list of a response that begins: only the answers to these two requests are handed on, and
/// they are known by their ids.
const ox_list_taker* choose_taker(void* context, const json_t* response) {
    auto* api = static_cast<ox_jrpcapi*>(context);
    const json_t* id = json_object_get(response, "id");
    if (api->taken && json_equal(id, json_object_get(api->taken->json, "id"))) return api->taker;
    if (api->underway && json_equal(id, json_object_get(api->underway->json, "id")))
        return api->underway_taker;
    return nullptr;
}

/// From now on lists are handed on, as long as somebody takes any.
void watch_lists(ox_jrpcapi* api) {
    JsonElements* elements = &api->in.json.elements;
    bool wanted = api->taken || api->underway_taker;
    elements->choose = wanted ? choose_taker : nullptr;
    elements->context = api;
}

/// Elements that still come of a list go nowhere.
void leave_list(ox_jrpcapi* api, const ox_list_taker* taker) {
    if (taker && api->in.json.elements.taker == taker) api->in.json.elements.taker = nullptr;
}

}  // namespace

int ox_jrpcapi_begin(ox_jrpcapi* api, ox_jrpcmsg* message, const ox_list_taker* taker) {
    if (!message) return OX_SOCKET_ENOMEM;
    if (api->underway) return OX_SOCKET_EEMPTY;
    api->underway_taker = taker;
    watch_lists(api);
    int rc = exchange_begin(api, message);
    hub_signal();
    return rc;
}

bool ox_jrpcapi_is_underway(const ox_jrpcapi* api, const ox_jrpcmsg* message) {
    return message && api->underway == message;
}

int ox_jrpcapi_finish(ox_jrpcapi* api, ox_jrpcmsg* message) {
    int rc = OX_SOCKET_OK;
    if (ox_jrpcapi_is_underway(api, message)) {
        patience_begin(json_string_value(json_object_get(message->json, "method")));
        rc = exchange_finish(api, deadline_of_exchange(api->timeout_ms));
        patience_end();
        hub_signal();
    }
    return rc;
}

void ox_jrpcapi_abandon(ox_jrpcapi* api, const ox_jrpcmsg* message) {
    if (!ox_jrpcapi_is_underway(api, message)) return;
    leave_list(api, api->underway_taker);
    api->underway = nullptr;
    api->underway_taker = nullptr;
    watch_lists(api);
    api->out.kept_end = 0;
}

bool ox_jrpcapi_has_unsent(const ox_jrpcapi* api) {
    return api->underway && api->out.sent < api->out.bytes.size;
}

void ox_jrpcapi_send_more(ox_jrpcapi* api) {
    if (ox_jrpcapi_has_unsent(api)) stream_push(api);
}

namespace {

/// Sets the connection's taker for its own lifetime, however that ends.
class TakerScope : ox_held {
public:
    TakerScope(ox_jrpcapi* api, const ox_jrpcmsg* message, const ox_list_taker* taker)
        : ox_held(drop), api_(api) {
        api->taken = message;
        api->taker = taker;
        watch_lists(api);
    }
    ~TakerScope() {
        leave_list(api_, api_->taker);
        api_->taken = nullptr;
        watch_lists(api_);
    }
    TakerScope(const TakerScope&) = delete;
    TakerScope& operator=(const TakerScope&) = delete;

private:
    static void drop(ox_held* self) { static_cast<TakerScope*>(self)->~TakerScope(); }
    ox_jrpcapi* api_;
};

}  // namespace

int ox_jrpcapi_exec_list(ox_jrpcapi* api, ox_jrpcmsg* message, const ox_list_taker* taker) {
    if (!message) return api->error = OX_SOCKET_ENOMEM;
    TakerScope scope(api, message, taker);
    int rc = ox_jrpcapi_exec_retry(api, message);
    ox_list_hand_on_kept(message, taker);
    return rc;
}

bool ox_jrpcapi_is_too_large(const ox_jrpcapi* api, const ox_jrpcmsg* message) {
    enum { RESOURCES_EXCEEDED = 9004 };
    if (message->error_code == RESOURCES_EXCEEDED) return true;
    return message->error_code == OX_SOCKET_EPROTO && api->too_large;
}

int ox_jrpcapi_send(ox_jrpcapi* api, ox_jrpcmsg* message) {
    if (!message) return api->error = OX_SOCKET_ENOMEM;
    long long deadline = deadline_of_exchange(api->timeout_ms);
    if (message->numbered) json_object_del(message->json, "id");
    patience_begin(json_string_value(json_object_get(message->json, "method")));
    int rc = exchange_connect(api, deadline);
    if (rc == OX_SOCKET_OK) rc = stream_add(api, message);
    if (rc == OX_SOCKET_OK) rc = stream_flush(api, deadline);
    patience_end();
    hub_signal();
    return api->error = rc;
}

namespace {

/// The next message that is no response from what arrived on the connection itself. A stream of others is
/// left off after a while, not to keep the caller.
ox_jrpcmsg* take_own(ox_jrpcapi* api, int* error) {
    enum { SWEEP_MS = 100 };
    long long end = 0;
    do {
        json_t* json = nullptr;
        while ((json = stream_take(api, error, true))) {
            if (!json_object_get(json, "method")) {
                json_decref(json);
                continue;
            }
            ox_jrpcmsg* message = ox_jrpcmsg_adopt(json);
            if (message) return message;
        }
        if (*error != OX_SOCKET_EEMPTY && *error != OX_SOCKET_EPARTIAL) return nullptr;
        int rc = stream_fill(api);
        if (rc == OX_SOCKET_EEMPTY) return nullptr;
        *error = rc;
        if (end == 0) end = deadline_after(SWEEP_MS);
    } while (*error == OX_SOCKET_OK && !deadline_passed(end));
    if (*error == OX_SOCKET_OK) *error = OX_SOCKET_EEMPTY;
    return nullptr;
}

ox_jrpcmsg* receive(ox_jrpcapi* api) {
    bool takes_all = (api->flags & OX_JRPCAPI_EVENTS) != 0;
    // What has arrived may cost more of them: the loss is told as one.
    if (takes_all && event_queue_has_lost()) events_collect(nullptr);
    ox_jrpcmsg* message = takes_all ? event_queue_pop() : nullptr;
    if (message) return message;
    int error = api->error == OX_SOCKET_OK ? static_cast<int>(OX_SOCKET_ECLOSED) : api->error;
    if (api->socket.connected) message = take_own(api, &error);
    if (!message && takes_all) {
        events_collect(api);
        message = event_queue_pop();
    }
    if (!message) api->error = error;
    return message;
}

}  // namespace

ox_jrpcmsg* ox_jrpcapi_recv(ox_jrpcapi* api) {
    ox_jrpcmsg* message = receive(api);
    if (message && api->socket.connected) api->error = OX_SOCKET_OK;
    hub_signal();
    return message;
}

namespace {

/// Executes a request for its outcome alone.
int exec_for_code(ox_jrpcapi* api, ox_jrpcmsg* request) {
    MsgRef message(request);
    int rc = ox_jrpcapi_exec_retry(api, message);
    return rc == OX_SOCKET_OK ? message->error_code : rc;
}

}  // namespace

int ox_jrpcapi_login(ox_jrpcapi* api, const char* login, const char* password) {
    connection_set_text(&api->login, login);
    connection_set_text(&api->password, password);
    api->logged_in = false;
    int rc = exec_for_code(api, exchange_login_message(login, password));
    api->logged_in = rc == 0;
    if (rc == 0) connection_set_text(&api->auth, nullptr);
    return rc;
}

int ox_jrpcapi_logout(ox_jrpcapi* api) {
    api->logged_in = false;
    return exec_for_code(api, ox_jrpcmsg_create_new("Logout", nullptr));
}
