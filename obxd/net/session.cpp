#include <algorithm>

#include "answers.hpp"
#include "device/journal.hpp"
#include "net/server.hpp"

namespace obxd {

namespace {

constexpr int64_t FAILURE_DELAY_MS = 200;
constexpr int MAX_FAILURE_DELAYS = 5;

// A text or null (or absent: null). False when it is something else.
bool read_text(const json_t* value, const char*& text) {
    text = json_string_value(value);
    return text || !value || json_is_null(value);
}

Connection* find_connection(Server& server, uint64_t id) {
    auto found = server.connections.find(id);
    if (found == server.connections.end() || found->second->phase == Connection::DEAD) return nullptr;
    return found->second.get();
}

void accept_login(Server& server, Connection& c, const User& user, const Reply& reply) {
    c.caller = caller_of(user);
    c.failed_logins = 0;
    journal_add(server.journal, "login of %s", user.name.c_str());
    reply(answer_result());
}

// Each wrong password on a connection makes its next answer later, up to a bound.
void refuse_login(Server& server, uint64_t connection, const Reply& reply) {
    journal_add(server.journal, "wrong password or unknown user at a login");
    Connection* c = find_connection(server, connection);
    int failures = c ? c->failed_logins = std::min(c->failed_logins + 1, MAX_FAILURE_DELAYS) : 1;
    loop_after(server.loop, FAILURE_DELAY_MS * failures,
               [reply] { reply(answer_fault(FAULT_REQUEST_DENIED, "Wrong password or unknown user")); });
}

void login_with_password(Request& request, const std::string& name, const std::string& password) {
    const User* user = users_find(request.server.users, name);
    auto matches = std::make_shared<bool>(false);
    std::string hash = user ? user->password : "";
    Server& server = request.server;
    uint64_t connection = request.connection.id;
    Reply reply = request.reply;
    bool started = loop_start_job(
        server.loop, [matches, hash, password] { *matches = password_matches(hash, password); },
        [&server, connection, name, matches, reply] {
            Connection* c = find_connection(server, connection);
            const User* found = users_find(server.users, name);
            if (*matches && c && found)
                accept_login(server, *c, *found, reply);
            else
                refuse_login(server, connection, reply);
        });
    if (!started) reply(answer_fault(FAULT_RESOURCES, "Too many logins at once"));
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

}  // namespace

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
    const User* user = login_without_password(request.server.users, request.connection.peer, login, reason);
    if (!user) return request.reply(answer_fault(FAULT_REQUEST_DENIED, reason));
    accept_login(request.server, request.connection, *user, request.reply);
}

void session_logout(Request& request) {
    request.connection.caller = Caller();
    request.reply(answer_result());
}

void session_join(Request& request) {
    uint32_t group = 0;
    if (!read_group(request, group)) return;
    bool joined = connection_join(request.connection, group);
    request.reply(joined ? answer_result() : answer_fault(FAULT_RESOURCES, "Too many groups"));
}

void session_leave(Request& request) {
    uint32_t group = 0;
    if (!read_group(request, group)) return;
    connection_leave(request.connection, group);
    request.reply(answer_result());
}

}  // namespace obxd
