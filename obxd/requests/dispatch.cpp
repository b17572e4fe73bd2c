#include "requests/dispatch.hpp"

#include <string.h>

#include "device/change.hpp"
#include "device/config.hpp"
#include "device/execute.hpp"
#include "device/model.hpp"
#include "device/transfer.hpp"
#include "net/admission.hpp"
#include "net/shares.hpp"
#include "ox_tr_names.hpp"
#include "requests/events.hpp"
#include "requests/large.hpp"
#include "requests/response.hpp"
#include "requests/session.hpp"
#include "requests/unfit.hpp"

namespace obxd {

namespace {

using StoreRead = Answer (Store::*)(const Caller& caller, const json_t* params, size_t room);
using StoreChange = Answer (*)(Store& store, const Caller& caller, const json_t* params);
using DeviceMethod = void (*)(Device& device, const json_t* params, const Reply& reply);
using SessionMethod = void (*)(Request& request);

/// A method and the one of the four that answers it.
struct MethodRow {
    const char* name;
    Rank least;                    ///< that may call it; the store checks its requests itself
    StoreRead read = nullptr;      ///< answers at once, and does nothing else
    StoreChange change = nullptr;  ///< answers at once
    DeviceMethod device = nullptr;
    SessionMethod session = nullptr;
    const char* twin = nullptr;  ///< the model's method of the same effect, whose right counts
};

template <Answer (Store::*METHOD)(const Caller&, const json_t*)>
Answer change(Store& store, const Caller& caller, const json_t* params) {
    return (store.*METHOD)(caller, params);
}

template <bool RAW>
Answer set(Store& store, const Caller& caller, const json_t* params) {
    return store.set_values(caller, params, RAW);
}

constexpr uint32_t MOST_LEVELS = 2048;  // as jansson

constexpr MethodRow METHODS[] = {
    {"GetParameterValues", RANK_GUEST, &Store::get_values},
    {"SetParameterValues", RANK_GUEST, nullptr, set<false>},
    {"RawSetParameterValues", RANK_GUEST, nullptr, set<true>},
    {"GetParameterNames", RANK_GUEST, &Store::get_names},
    {"GetParameterAttributes", RANK_GUEST, &Store::get_attributes},
    {"GetDataModel", RANK_GUEST, &Store::get_data_model},
    {"GetConfig", RANK_GUEST, &Store::get_config},
    {"Select", RANK_GUEST, &Store::select},
    {"AddObject", RANK_GUEST, nullptr, change<&Store::add_object>},
    {"DeleteObject", RANK_GUEST, nullptr, change<&Store::delete_object>},
    {"Execute", RANK_GUEST, nullptr, nullptr, device_execute},
    {"SaveConfig", RANK_USER, nullptr, nullptr, device_save_config},
    {"BeginChange", RANK_USER, nullptr, nullptr, device_begin_change},
    {"ConfirmChange", RANK_USER, nullptr, nullptr, device_confirm_change},
    {"CancelChange", RANK_USER, nullptr, nullptr, device_cancel_change},
    {"Reboot", RANK_ADMIN, nullptr, nullptr, device_reboot, nullptr, "Device.Reboot"},
    {"FactoryReset", RANK_ADMIN, nullptr, nullptr, device_factory_reset, nullptr, "Device.FactoryReset"},
    {"Download", RANK_ADMIN, nullptr, nullptr, device_download},
    {"Upload", RANK_ADMIN, nullptr, nullptr, device_upload},
    {"JoinGroup", RANK_GUEST, nullptr, nullptr, nullptr, session_join},
    {"LeaveGroup", RANK_GUEST, nullptr, nullptr, nullptr, session_leave},
    {"Login", RANK_GUEST, nullptr, nullptr, nullptr, session_login},
    {"Logout", RANK_GUEST, nullptr, nullptr, nullptr, session_logout},
};

// How a refusal goes on, by the rank that is needed.
constexpr const char* LEAST_TEXTS[] = {"", " needs a login", " needs a login as administrator",
                                       " needs system access"};

const MethodRow* find_method(const char* name) {
    for (const MethodRow& row : METHODS) {
        if (strcmp(row.name, name) == 0) return &row;
    }
    return nullptr;
}

void send_answer(Connection& c, const json_t* id, Answer answer) {
    connection_output(c).append(response_text(id, std::move(answer)));
}

// What takes the answer: `id` null for a notification, which has none.
Reply make_reply(Requests& requests, Connection& c, json_t* id) {
    auto held = std::make_shared<JsonRef>(json_incref(id));
    return [&requests, connection = c.id, held](Answer answer) {
        Connection* to = server_find(requests.server, connection);
        if (!to) return;
        to->busy = false;
        if (held->get()) send_answer(*to, *held, std::move(answer));
        // A connection whose turn it is goes on without being woken.
        if (!requests.device.asker.caller) server_wake(requests.server, *to);
    };
}

// The user of the request's token, whose acceptance ends the connection's own login, or of the connection.
// False when the token is not known.
bool find_caller(const Users& users, Connection& c, const json_t* auth, Caller& caller) {
    if (!auth || json_string_length(auth) == 0) {
        caller = session_of(c).caller;
        return true;
    }
    const User* user =
        users_by_token(users, std::string_view(json_string_value(auth), json_string_length(auth)));
    if (!user) return false;
    caller = caller_of(*user);
    session_end(c);
    admission_login(c, caller_rank(caller) >= RANK_ADMIN);
    return true;
}

// Answers what only reads the model. False where there is no room for the answer now.
bool answer_read(Requests& requests, Connection& c, const MethodRow& row, const Caller& caller,
                 const json_t* params, const json_t* id) {
    if (!id || c.deaf) return true;  // nobody would get what it reads
    size_t room = share_room(requests.server, c);
    Answer answer = (requests.store.*row.read)(caller, params, room);
    if (answer.cut && room < MAX_MESSAGE) {
        c.gave_up = room;
        return false;
    }
    send_answer(c, id, std::move(answer));
    return true;
}

void answer_request(Requests& requests, Connection& c, const MethodRow& row, const Caller& caller,
                    const json_t* params, json_t* id) {
    c.busy = true;
    Reply reply = make_reply(requests, c, id);
    if (row.change) return reply(row.change(requests.store, caller, params));
    c.progress = now_ms();
    Rank least = row.twin ? model_call_rank(requests.store, row.twin) : row.least;
    if (caller_rank(caller) < least)
        return reply(answer_fault(FAULT_REQUEST_DENIED, std::string(row.name) + LEAST_TEXTS[least]));
    if (row.device) return row.device(requests.device, params, reply);
    Request request{requests, c, params, std::move(reply)};
    row.session(request);
}

// Whether a request may alter what an open change can take back.
bool row_alters(const MethodRow& row) {
    bool about_changes = row.device == device_begin_change || row.device == device_confirm_change ||
                         row.device == device_cancel_change;
    return row.change || (row.device && !about_changes);
}

// The same as part of the change that the request names, beside its params or in them, or that its connection
// began.
void answer_altering(Requests& requests, Connection& c, const MethodRow& row, const Caller& caller,
                     const json_t* message, const json_t* params, json_t* id) {
    const json_t* named = json_object_get(message, OX_TR_CHANGE);
    Answer refused = change_enter(requests.device, named ? named : json_object_get(params, OX_TR_CHANGE));
    if (!refused.code)
        answer_request(requests, c, row, caller, params, id);
    else if (id)
        send_answer(c, id, std::move(refused));
    change_leave(requests.device);
}

const char* check_message(const json_t* message) {
    const json_t* version = json_object_get(message, "jsonrpc");
    if (!json_is_string(version) || strcmp(json_string_value(version), "2.0") != 0)
        return "\"jsonrpc\" must be \"2.0\"";
    const json_t* id = json_object_get(message, "id");
    if (id && !json_is_number(id) && !json_is_string(id) && !json_is_null(id))
        return "\"id\" must be a number or a text";
    if (!json_is_string(json_object_get(message, "method"))) return "\"method\" must be a text";
    const json_t* auth = json_object_get(message, "auth");
    if (auth && !json_is_string(auth) && !json_is_null(auth)) return "\"auth\" must be a text";
    const json_t* change = json_object_get(message, OX_TR_CHANGE);
    if (change && !json_is_string(change) && !json_is_null(change)) return "\"Change\" must be a text";
    return nullptr;
}

// An event of a client goes to everybody else in its group.
void pass_event(Requests& requests, const Connection& c, const json_t* message) {
    const json_t* group = json_object_get(message, "group");
    json_int_t number = json_integer_value(group);
    if (!json_is_integer(group) || number < 1 || number > UINT32_MAX) return;
    events_emit(requests, static_cast<uint32_t>(number), json_incref(json_object_get(message, "params")),
                c.id);
}

// False where there is no room for the answer now.
bool serve_message(Requests& requests, Connection& c, const json_t* message) {
    json_t* id = json_object_get(message, "id");
    if (const char* wrong = check_message(message)) {
        bool usable = json_is_number(id) || json_is_string(id);
        JsonRef none(json_null());
        send_answer(c, usable ? id : none, answer_fault(RPC_INVALID_REQUEST, wrong));
        return true;
    }
    const char* name = json_string_value(json_object_get(message, "method"));
    if (!id && strcmp(name, "Event") == 0) {
        pass_event(requests, c, message);
        return true;
    }
    auto refuse = [&c, id](int code, const std::string& detail) {
        if (id) send_answer(c, id, answer_fault(code, detail));
        return true;
    };
    const MethodRow* row = find_method(name);
    if (!row) return refuse(RPC_METHOD_NOT_FOUND, name);
    const json_t* params = json_object_get(message, "params");
    if (params && !json_is_object(params) && !json_is_null(params))
        return refuse(RPC_INVALID_PARAMS, "\"params\" must be an object");
    Caller caller;
    if (!find_caller(requests.users, c, json_object_get(message, "auth"), caller))
        return refuse(FAULT_REQUEST_DENIED, "Unknown token");
    JsonRef none(json_object());
    requests.device.asker = {&caller, c.id, c.root ? "" : c.source};
    if (!json_is_object(params)) params = none;
    bool done = true;
    if (row->read)
        done = answer_read(requests, c, *row, caller, params, id);
    else if (row_alters(*row))
        answer_altering(requests, c, *row, caller, message, params, id);
    else
        answer_request(requests, c, *row, caller, params, id);
    requests.device.asker = {};
    return done;
}

// Refuses a message that was not read; for that the id is needed, and no more. Where `code` is 0 the reason
// is what the parser has no room for.
void refuse_unread(Connection& c, std::string_view text, int code, std::string why) {
    std::string unfit;
    std::string clean = unfit_clean(text, unfit);
    json_error_t where;
    JsonRef message(json_loadb(clean.data(), clean.size(), 0, &where));
    if (!message) return dispatch_broken(c, where.text);
    const json_t* id = json_object_get(message, "id");
    if (!id) return;
    bool usable = json_is_number(id) || (json_is_string(id) && !unfit_text(json_string_value(id)));
    JsonRef none(json_null());
    Answer fault = code ? answer_fault(code, std::move(why)) : answer_fault(RPC_INVALID_PARAMS, unfit);
    send_answer(c, usable ? id : none, std::move(fault));
}

// The same for a long one, of which no more than the outline is looked at.
void refuse_large(Connection& c, std::string_view text, int code, std::string why) {
    std::string outline = message_outline(text);
    if (outline.empty()) return dispatch_broken(c, why.c_str());
    refuse_unread(c, outline, code, std::move(why));
}

bool dispatch_large(Requests& requests, Connection& c, std::string_view text) {
    JsonRef message;
    switch (large_read(text, message)) {
        case Reading::WHOLE:
            return serve_message(requests, c, message);
        case Reading::UNFIT:
            refuse_large(c, text, RPC_INVALID_PARAMS, "a text holds \\u0000, or a number is beyond 64 bits");
            return true;
        case Reading::COSTLY:
            refuse_large(c, text, FAULT_RESOURCES, "The message takes too much memory");
            return true;
        case Reading::BROKEN:
            dispatch_broken(c, "The message is no JSON");
            return true;
    }
    return true;
}

}  // namespace

bool dispatch(Requests& requests, Connection& c, std::string_view text) {
    if (c.in.deepest > MOST_LEVELS) {
        dispatch_broken(c, "The message is nested too deeply");
        return true;
    }
    size_t most = share_of(c).values;
    if (c.in.values > most) {
        refuse_large(c, text, FAULT_RESOURCES,
                     "The message holds more than " + std::to_string(most) + " values");
        return true;
    }
    if (text.size() > LARGE_MESSAGE) return dispatch_large(requests, c, text);
    json_error_t where;
    JsonRef message(json_loadb(text.data(), text.size(), 0, &where));
    if (message) return serve_message(requests, c, message);
    if (unfit_is(where))
        refuse_unread(c, text, 0, "");
    else
        dispatch_broken(c, where.text);
    return true;
}

void dispatch_broken(Connection& c, const char* why) {
    JsonRef none(json_null());
    send_answer(c, none, answer_fault(RPC_PARSE_ERROR, why));
    c.closing = true;
}

}  // namespace obxd
