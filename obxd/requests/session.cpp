#include "requests/session.hpp"

#include <algorithm>

#include "device/password.hpp"
#include "net/admission.hpp"

namespace obxd {

namespace {

constexpr int64_t FAILURE_DELAY_MS = 200;
constexpr int MAX_FAILURE_DELAYS = 5;
constexpr size_t MAX_GROUPS = 4096;

// A text or null (or absent: null). False when it is something else.
bool read_text(const json_t* value, const char*& text) {
    text = json_string_value(value);
    return text || !value || json_is_null(value);
}

void accept_login(Requests& room, Connection& c, const User& user, const Reply& reply) {
    session_enter(c, caller_of(user));
    session_of(c).failed_logins = 0;
    journal_add(room.device.journal, "login of %s", user.name.c_str());
    reply(answer_result());
}

// Each wrong password on a connection makes its next answer later, up to a bound.
void refuse_login(Requests& room, Connection* c, const Reply& reply) {
    journal_add(room.device.journal, "wrong password or unknown user at a login");
    int failures = 1;
    if (c) {
        int& failed = session_of(*c).failed_logins;
        failures = failed = std::min(failed + 1, MAX_FAILURE_DELAYS);
    }
    loop_after(room.server.loop, FAILURE_DELAY_MS * failures,
               [reply] { reply(answer_fault(FAULT_REQUEST_DENIED, "Wrong password or unknown user")); });
}

void login_with_password(Request& request, const std::string& name, const std::string& password) {
    Requests& room = request.room;
    bool taken = password_check(
        room.device, {session_of(request.connection).failed_logins, users_hash(room.users, name), password,
                      [&room, connection = request.connection.id, name, reply = request.reply](bool matches) {
                          Connection* c = server_find(room.server, connection);
                          const User* user = users_find(room.users, name);
                          if (matches && c && user)
                              accept_login(room, *c, *user, reply);
                          else
                              refuse_login(room, c, reply);
                      }});
    if (!taken) request.reply(answer_fault(FAULT_RESOURCES, "Too many logins at once"));
}

bool read_group(const Request& request, uint32_t& group) {
    const json_t* value = json_object_get(request.params, "Group");
    json_int_t number = json_integer_value(value);
    if (!json_is_integer(value) || number < 1 || number > UINT32_MAX) {
        request.reply(answer_fault(FAULT_INVALID_ARGUMENTS, "\"Group\" must be 1 to 4294967295"));
        return false;
    }
    group = static_cast<uint32_t>(number);
    return true;
}

// Where the group stands among the session's, or would.
std::vector<uint32_t>::iterator group_place(Session& session, uint32_t group) {
    return std::lower_bound(session.groups.begin(), session.groups.end(), group);
}

}  // namespace

Session& session_of(Connection& c) {
    if (!c.session) c.session = std::make_shared<Session>();
    return *static_cast<Session*>(c.session.get());
}

bool session_in_group(const Session& session, uint32_t group) {
    return std::binary_search(session.groups.begin(), session.groups.end(), group);
}

void session_enter(Connection& c, const Caller& caller) {
    session_of(c).caller = caller;
    admission_login(c, caller_rank(caller) >= RANK_ADMIN);
}

void session_end(Connection& c) {
    session_of(c).caller = Caller();
    admission_guest(c);
}

void session_login(Request& request) {
    const char* login = nullptr;
    const char* password = nullptr;
    if (!read_text(json_object_get(request.params, "Login"), login) ||
        !read_text(json_object_get(request.params, "Password"), password))
        return request.reply(
            answer_fault(FAULT_INVALID_ARGUMENTS, "\"Login\" and \"Password\" must be texts or null"));
    if (!login || !*login) return request.reply(answer_fault(FAULT_REQUEST_DENIED, "A login needs a name"));
    if (password) return login_with_password(request, login, password);
    std::string reason;
    const Connection& c = request.connection;
    const User* user = login_without_password(request.room.users, Peer{c.local, c.uid}, login, reason);
    if (!user) return request.reply(answer_fault(FAULT_REQUEST_DENIED, reason));
    accept_login(request.room, request.connection, *user, request.reply);
}

void session_logout(Request& request) {
    session_end(request.connection);
    request.reply(answer_result());
}

void session_join(Request& request) {
    uint32_t group = 0;
    if (!read_group(request, group)) return;
    Session& session = session_of(request.connection);
    if (!session_in_group(session, group)) {
        if (session.groups.size() >= MAX_GROUPS)
            return request.reply(answer_fault(FAULT_RESOURCES, "Too many groups"));
        session.groups.insert(group_place(session, group), group);
        request.connection.listens = true;
    }
    request.reply(answer_result());
}

void session_leave(Request& request) {
    uint32_t group = 0;
    if (!read_group(request, group)) return;
    Session& session = session_of(request.connection);
    if (session_in_group(session, group)) session.groups.erase(group_place(session, group));
    request.connection.listens = !session.groups.empty();
    request.reply(answer_result());
}

}  // namespace obxd
