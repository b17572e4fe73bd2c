#include <string.h>

#include <algorithm>

#include "answers.hpp"
#include "device/device.hpp"
#include "net/server.hpp"
#include "net/unfit.hpp"

namespace obxd {

namespace {

using StoreMethod = Answer (Store::*)(const Caller&, const json_t*);
using Handler = void (*)(Request&);

struct MethodRow {
    const char* name;
    StoreMethod store;  ///< answered by the store, which knows who may do what
    Handler handler;
    Rank least;  ///< that may call the handler
};

Answer set_values(Store& store, const Caller& caller, const json_t* params, bool raw) {
    return store.set_values(caller, params, raw);
}

void set_parameter_values(Request& request) {
    request.reply(set_values(*request.server.store, request.caller, request.params, false));
}

void raw_set_parameter_values(Request& request) {
    request.reply(set_values(*request.server.store, request.caller, request.params, true));
}

constexpr MethodRow METHODS[] = {
    {"GetParameterValues", &Store::get_values, nullptr, RANK_GUEST},
    {"SetParameterValues", nullptr, set_parameter_values, RANK_GUEST},
    {"RawSetParameterValues", nullptr, raw_set_parameter_values, RANK_GUEST},
    {"GetParameterNames", &Store::get_names, nullptr, RANK_GUEST},
    {"GetParameterAttributes", &Store::get_attributes, nullptr, RANK_GUEST},
    {"GetDataModel", &Store::get_data_model, nullptr, RANK_GUEST},
    {"GetConfig", &Store::get_config, nullptr, RANK_GUEST},
    {"Select", &Store::select, nullptr, RANK_GUEST},
    {"AddObject", &Store::add_object, nullptr, RANK_GUEST},
    {"DeleteObject", &Store::delete_object, nullptr, RANK_GUEST},
    {"Execute", nullptr, device_execute, RANK_GUEST},
    {"JoinGroup", nullptr, session_join, RANK_GUEST},
    {"LeaveGroup", nullptr, session_leave, RANK_GUEST},
    {"Login", nullptr, session_login, RANK_GUEST},
    {"Logout", nullptr, session_logout, RANK_GUEST},
    {"SaveConfig", nullptr, device_save_config, RANK_USER},
    {"Reboot", nullptr, device_reboot, RANK_USER},
    {"FactoryReset", nullptr, device_factory_reset, RANK_ADMIN},
    {"Download", nullptr, device_download, RANK_ADMIN},
    {"Upload", nullptr, device_upload, RANK_ADMIN},
};

const MethodRow* find_method(const char* name) {
    for (const MethodRow& row : METHODS) {
        if (strcmp(row.name, name) == 0) return &row;
    }
    return nullptr;
}

int append_bytes(const char* data, size_t size, void* text) {
    static_cast<std::string*>(text)->append(data, size);
    return 0;
}

void append_json(std::string& text, const json_t* value) {
    json_dump_callback(value, append_bytes, &text, JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(15));
}

void append_error(std::string& text, const Answer& answer) {
    JsonRef error(json_pack("{s:i}", "code", answer.code));
    const char* message = answer.message.empty() ? code_text(answer.code) : answer.message.c_str();
    json_object_set_new(error, "message", json_string(message));
    if (!answer.detail.empty() || json_object_size(answer.data) > 0) {
        JsonRef data(json_object());
        if (!answer.detail.empty())
            json_object_set_new(data, "Detail", json_stringn(answer.detail.data(), answer.detail.size()));
        if (answer.data) json_object_update_missing(data, answer.data);
        json_object_set(error, "data", data);
    }
    text += "\"error\":";
    append_json(text, error);
}

// Appends the response to the output; takes over the answer's references.
void send_answer(Connection& c, const json_t* id, Answer answer) {
    if (connection_pending(c) == 0) c.progress = now_ms();
    size_t start = c.out.size();
    c.out += "{\"jsonrpc\":\"2.0\",\"id\":";
    append_json(c.out, id);
    c.out += ',';
    size_t body = c.out.size();
    if (answer.code == 0) {
        c.out += "\"result\":";
        size_t before = c.out.size();
        append_json(c.out, answer.result);
        if (c.out.size() == before) c.out += "{}";
    } else {
        append_error(c.out, answer);
    }
    if (c.out.size() - start + 2 > MAX_MESSAGE) {
        c.out.resize(body);
        append_error(c.out, answer_fault(FAULT_RESOURCES, "The answer is longer than 64 MiB"));
    }
    c.out += "}\n";
    answer_drop(answer);
}

// What takes the answer: `id` null for a notification, which has none.
Reply make_reply(Server& server, Connection& c, json_t* id) {
    uint64_t connection = c.id;
    auto held = std::make_shared<JsonRef>(json_incref(id));
    return [&server, connection, held](Answer answer) {
        auto found = server.connections.find(connection);
        if (found == server.connections.end() || found->second->phase == Connection::DEAD)
            return answer_drop(answer);
        Connection& to = *found->second;
        to.busy = false;
        if (held->get())
            send_answer(to, *held, std::move(answer));
        else
            answer_drop(answer);
        if (!server.acting) server_wake(server, to);
    };
}

// The user of the request's token, whose acceptance ends the connection's own login, or of the connection.
// False when the token is not known.
bool find_caller(Server& server, Connection& c, const json_t* auth, Caller& caller) {
    if (!auth || json_string_length(auth) == 0) {
        caller = c.caller;
        return true;
    }
    const User* user =
        users_by_token(server.users, std::string_view(json_string_value(auth), json_string_length(auth)));
    if (!user) return false;
    c.caller = Caller();
    caller = caller_of(*user);
    return true;
}

void answer_request(Server& server, Connection& c, const MethodRow& row, const Caller& caller,
                    const json_t* params, json_t* id) {
    if (row.store) {
        Answer answer = ((*server.store).*row.store)(caller, params);
        if (id)
            send_answer(c, id, std::move(answer));
        else
            answer_drop(answer);
        return;
    }
    if (caller_rank(caller) < row.least) {
        if (id)
            send_answer(
                c, id,
                answer_fault(FAULT_REQUEST_DENIED, std::string(row.name) + " needs a login" +
                                                       (row.least == RANK_ADMIN ? " as administrator" : "")));
        return;
    }
    c.busy = true;
    Request request{server, c, caller, params, make_reply(server, c, id)};
    row.handler(request);
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
    return nullptr;
}

// An event of a client goes to everybody else in its group.
void pass_event(Server& server, const Connection& c, const json_t* message) {
    const json_t* group = json_object_get(message, "group");
    json_int_t number = json_integer_value(group);
    if (!json_is_integer(group) || number < 1 || number > UINT32_MAX) return;
    server_emit(server, static_cast<uint32_t>(number), json_incref(json_object_get(message, "params")), c.id);
}

void serve_message(Server& server, Connection& c, const json_t* message) {
    json_t* id = json_object_get(message, "id");
    if (const char* wrong = check_message(message)) {
        bool usable = json_is_number(id) || json_is_string(id);
        JsonRef none(json_null());
        return send_answer(c, usable ? id : none, answer_fault(RPC_INVALID_REQUEST, wrong));
    }
    const char* name = json_string_value(json_object_get(message, "method"));
    if (!id && strcmp(name, "Event") == 0) return pass_event(server, c, message);
    auto refuse = [&c, id](int code, const std::string& detail) {
        if (id) send_answer(c, id, answer_fault(code, detail));
    };
    const MethodRow* row = find_method(name);
    if (!row) return refuse(RPC_METHOD_NOT_FOUND, name);
    const json_t* params = json_object_get(message, "params");
    if (params && !json_is_object(params) && !json_is_null(params))
        return refuse(RPC_INVALID_PARAMS, "\"params\" must be an object");
    Caller caller;
    if (!find_caller(server, c, json_object_get(message, "auth"), caller))
        return refuse(FAULT_REQUEST_DENIED, "Unknown token");
    JsonRef none(json_object());
    server.acting = &caller;
    server.asking = c.id;
    answer_request(server, c, *row, caller, json_is_object(params) ? params : none, id);
    server.acting = nullptr;
    server.asking = 0;
}

// JSON that the parser has no room for is refused; for that the id is needed, and no more.
void refuse_unfit(Server& server, Connection& c, std::string_view text) {
    std::string why;
    std::string clean = unfit_clean(text, why);
    json_error_t where;
    JsonRef message(json_loadb(clean.data(), clean.size(), 0, &where));
    if (!message) return refuse_stream(server, c, RPC_PARSE_ERROR, where.text);
    const json_t* id = json_object_get(message, "id");
    if (!id) return;
    bool usable = json_is_number(id) || (json_is_string(id) && !unfit_text(json_string_value(id)));
    JsonRef none(json_null());
    send_answer(c, usable ? id : none, answer_fault(RPC_INVALID_PARAMS, why));
}

}  // namespace

void dispatch(Server& server, Connection& c, std::string_view text) {
    json_error_t where;
    JsonRef message(json_loadb(text.data(), text.size(), 0, &where));
    if (!message && unfit_is(where)) return refuse_unfit(server, c, text);
    if (!message) return refuse_stream(server, c, RPC_PARSE_ERROR, where.text);
    serve_message(server, c, message);
}

void refuse_stream(Server&, Connection& c, int code, const char* detail) {
    JsonRef none(json_null());
    send_answer(c, none, answer_fault(code, detail));
    c.closing = true;
}

}  // namespace obxd
