// Login and logout over a connection that is played by the test.
#include "session/identity.hpp"

#include <gtest/gtest.h>
#include <pwd.h>
#include <setjmp.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "commands/login.hpp"
#include "ox_confapi.hpp"
#include "ox_echo.hpp"
#include "ox_editor.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_socket.hpp"
#include "session/prompt.hpp"

namespace {

std::string calls;
std::string sent_token;
uint32_t flags = OX_JRPCAPI_RELOGIN;
int login_result;
int logout_result;
int socket_kind = OX_SOCKET_LOCAL;
bool connected = true;
int timeout = 5000;
std::map<std::string, const char*> values;  // path to JSON text
std::string typed;
size_t typed_at;
sigjmp_buf* cut_off;  // where reading a value jumps to, as Ctrl-C does

std::string shown(const char* text) {
    return text ? text : "null";
}

}  // namespace

int ox_jrpcapi_login(ox_jrpcapi*, const char* login, const char* password) {
    calls += "login(" + shown(login) + "," + shown(password) + ") ";
    return login_result;
}
int ox_jrpcapi_logout(ox_jrpcapi*) {
    calls += "logout ";
    return logout_result;
}
void ox_jrpcapi_set_auth(ox_jrpcapi*, int kind, const char* token, int reserved, int timeout_ms) {
    EXPECT_EQ(kind, 0);
    EXPECT_EQ(reserved, 0);
    EXPECT_EQ(timeout_ms, 5000);
    sent_token = token;
    calls += "auth(" + sent_token + ") ";
}
const char* ox_jrpcapi_get_auth(const ox_jrpcapi*) {
    return sent_token.empty() ? nullptr : sent_token.c_str();
}
uint32_t ox_jrpcapi_get_flags(const ox_jrpcapi*) {
    return flags;
}
void ox_jrpcapi_set_flags(ox_jrpcapi*, uint32_t value) {
    flags = value;
}
ox_socket* ox_jrpcapi_socket(ox_jrpcapi*) {
    static char there;
    return connected ? reinterpret_cast<ox_socket*>(&there) : nullptr;
}
int ox_jrpcapi_get_timeout(const ox_jrpcapi*) {
    return timeout;
}
void ox_jrpcapi_set_timeout(ox_jrpcapi*, int ms) {
    timeout = ms;
}
int ox_jrpcapi_send(ox_jrpcapi*, ox_jrpcmsg* message) {
    EXPECT_LT(timeout, 1000);
    calls += std::string("send(") + json_string_value(json_object_get(message->json, "method")) + ") ";
    return 0;
}
int ox_socket_type(const ox_socket*) {
    return socket_kind;
}
void ox_confapi_ignore_next_error_exec(int) {
    calls += "quiet ";
}
json_t* ox_confapi_getconfig(const char* path) {
    if (cut_off) siglongjmp(*cut_off, 1);
    calls += std::string("get(") + path + ") ";
    return values.count(path) ? json_loads(values[path], JSON_DECODE_ANY, nullptr) : nullptr;
}
void ox_rl_set_colors(const ox_hsv[OX_RL_COLOR_COUNT]) {
    calls += system_access ? "colours(root) " : "colours ";
}
void ox_rl_echo_off(int fd) {
    printf("{off %d}", fd);  // in front of the question, or a quick hand is echoed
}
void ox_rl_echo_on(int fd) {
    printf("{on %d}", fd);
}
bool ox_rl_echo_take_resume(void) {
    return false;
}
bool ox_rl_pending(void) {
    return true;
}
int ox_rl_getch(void) {
    return typed_at < typed.size() ? static_cast<unsigned char>(typed[typed_at++]) : -1;
}

namespace {

constexpr const char* ACCESS = "quiet get(Device.Users.SystemAccess) ";
constexpr const char* WHO = "get(Device.Users.CurrentUser) ";

struct Outcome {
    int result;
    std::string out;
    std::string calls;
};

template <typename Function>
Outcome observe(Function function) {
    calls.clear();
    testing::internal::CaptureStdout();
    int result = function();
    fflush(stdout);
    return {result, testing::internal::GetCapturedStdout(), calls};
}

Outcome command(CommandHandler handler, const char* name, std::vector<const char*> words) {
    json_t* args = json_array();
    for (const char* word : words) json_array_append_new(args, json_string(word));
    Outcome o = observe([&] { return handler(name, args); });
    json_decref(args);
    return o;
}

std::string user() {
    return shown(current_user) + "/" + shown(current_password);
}

class Identity : public testing::Test {
protected:
    void SetUp() override {
        identity_on_change([] { calls += "changed "; });
        login_result = 0;
        logout_result = 0;
        socket_kind = OX_SOCKET_LOCAL;
        values = {{"Device.Users.SystemAccess", "true"}};
        sent_token.clear();
        flags = OX_JRPCAPI_RELOGIN | OX_JRPCAPI_SSL;
        token_login = false;
        typed.clear();
        typed_at = 0;
        set_auth_state(nullptr, nullptr);
    }
    void TearDown() override { identity_free(); }
};

TEST_F(Identity, LoginByName) {
    Outcome o = observe([] { return login_with("admin", "secret"); });
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.calls, std::string("login(admin,secret) ") + ACCESS + "colours(root) changed ");
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(user(), "admin/secret");
    EXPECT_TRUE(system_access);
    EXPECT_FALSE(token_login);
    EXPECT_STREQ(prompt, "admin@obxc:> ");
}

TEST_F(Identity, SystemAccessIsTrueOnlyForTrue) {
    for (const char* value : {"false", "\"true\"", "1", "null"}) {
        values["Device.Users.SystemAccess"] = value;
        login_with("admin", nullptr);
        EXPECT_FALSE(system_access) << value;
        EXPECT_EQ(user(), "admin/null");
    }
    values.erase("Device.Users.SystemAccess");
    login_with("admin", nullptr);
    EXPECT_FALSE(system_access);
}

TEST_F(Identity, AGuestIsNotAskedForSystemAccess) {
    login_with("admin", nullptr);
    Outcome o = observe([] { return set_auth_state(nullptr, nullptr), 0; });
    EXPECT_EQ(o.calls, "colours changed ");
    EXPECT_FALSE(system_access);
    EXPECT_STREQ(prompt, "obxc:> ");
}

TEST_F(Identity, LoginByToken) {
    login_result = 9001;
    values["Device.Users.CurrentUser"] = "\"bob\"";
    Outcome o = observe([] { return login_with("t0k3n", "ignored"); });
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.calls,
              std::string("login(t0k3n,ignored) auth(t0k3n) ") + WHO + ACCESS + "colours(root) changed ");
    EXPECT_EQ(user(), "bob/null");
    EXPECT_TRUE(token_login);
    EXPECT_EQ(sent_token, "t0k3n");
    EXPECT_EQ(flags, static_cast<uint32_t>(OX_JRPCAPI_SSL));
}

TEST_F(Identity, ARejectedTokenIsTakenBack) {
    login_result = 9001;
    for (const char* answer : {"", "\"\"", "null", "5"}) {
        login_with("before", nullptr);
        values.erase("Device.Users.CurrentUser");
        if (*answer) values["Device.Users.CurrentUser"] = answer;
        Outcome o = observe([] { return login_with("wrong", "x"); });
        EXPECT_EQ(o.result, -1);
        EXPECT_EQ(o.calls, std::string("login(wrong,x) auth(wrong) ") + WHO +
                               "auth() colours changed logout colours changed ");
        EXPECT_EQ(user(), "null/null");
        EXPECT_EQ(sent_token, "");
        EXPECT_EQ(flags, static_cast<uint32_t>(OX_JRPCAPI_SSL | OX_JRPCAPI_RELOGIN));
    }
}

TEST_F(Identity, ANameAfterATokenRemovesTheToken) {
    login_result = 9001;
    values["Device.Users.CurrentUser"] = "\"bob\"";
    login_with("t0k3n", nullptr);
    login_result = 0;
    Outcome o = observe([] { return login_with("admin", "secret"); });
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(sent_token, "");
    EXPECT_FALSE(token_login);
    EXPECT_EQ(user(), "admin/secret");
    EXPECT_EQ(flags, static_cast<uint32_t>(OX_JRPCAPI_SSL | OX_JRPCAPI_RELOGIN));
}

TEST_F(Identity, Logout) {
    login_with("admin", "secret");
    logout_result = 9002;
    Outcome o = observe([] { return logout_session(); });
    EXPECT_EQ(o.result, 9002);
    EXPECT_EQ(o.calls, "colours changed logout changed ");
    EXPECT_EQ(user(), "null/null");
}

TEST_F(Identity, LogoutAfterATokenTellsNobody) {
    login_result = 9001;
    values["Device.Users.CurrentUser"] = "\"bob\"";
    login_with("t0k3n", nullptr);
    Outcome o = observe([] { return logout_session(); });
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.calls, "colours changed auth() changed ");
    EXPECT_EQ(user(), "null/null");
    EXPECT_TRUE(token_login);  // left as it is
}

/// Runs `function`, which a jump leaves on its way, and the recovery from it.
template <typename Function>
Outcome cut_off_in(Function function) {
    return observe([&] {
        sigjmp_buf here;
        if (sigsetjmp(here, 1) == 0) {
            cut_off = &here;
            function();
            ADD_FAILURE() << "not reached";
        }
        cut_off = nullptr;
        identity_recover();
        return 0;
    });
}

TEST_F(Identity, WhatWasCutOffEndsAsAGuestsSession) {
    login_result = 9001;
    values["Device.Users.CurrentUser"] = "\"bob\"";
    login_with("t0k3n", nullptr);
    EXPECT_EQ(observe([] { return identity_recover(), 0; }).calls, "colours(root) ") << "it was checked";
    EXPECT_EQ(sent_token, "t0k3n");
    Outcome o = cut_off_in([] { login_with("other", "x"); });
    EXPECT_EQ(o.calls, "login(other,x) auth(other) auth() send(Logout) colours ");
    EXPECT_EQ(user(), "null/null");
    EXPECT_EQ(sent_token, "");
    EXPECT_EQ(timeout, 5000);
    EXPECT_EQ(observe([] { return identity_recover(), 0; }).calls, "colours ") << "once is enough";
}

TEST_F(Identity, ALogoutThatWasCutOffIsALogout) {
    login_with("admin", "secret");
    identity_on_change([] { siglongjmp(*cut_off, 1); });
    Outcome o = cut_off_in([] { logout_session(); });
    EXPECT_EQ(o.calls, "colours auth() send(Logout) colours ");
    EXPECT_EQ(user(), "null/null");
    EXPECT_EQ(flags, static_cast<uint32_t>(OX_JRPCAPI_SSL)) << "a reconnection brings nobody back";
    EXPECT_FALSE(system_access);
    identity_on_change([] { calls += "changed "; });
    login_with("admin", "secret");
    connected = false;
    identity_on_change([] { siglongjmp(*cut_off, 1); });
    o = cut_off_in([] { logout_session(); });
    EXPECT_EQ(o.calls, "colours auth() colours ") << "a lost connection has no login";
    connected = true;
}

TEST_F(Identity, ALoginThatWasCutOffBehindTheAnswerIsALogin) {
    Outcome o = cut_off_in([] { login_with("admin", "secret"); });
    EXPECT_EQ(o.calls, "login(admin,secret) quiet colours ")
        << "without the colours of a root that may be none";
    EXPECT_EQ(user(), "admin/secret");
    EXPECT_FALSE(system_access);
}

TEST_F(Identity, DefaultLogin) {
    struct passwd* entry = getpwuid(getuid());
    Outcome o = observe([] { return try_login(), 0; });
    std::string expected = entry ? std::string("login(") + entry->pw_name + ",null) " : "";
    EXPECT_EQ(o.calls.substr(0, expected.size()), expected);
    EXPECT_EQ(observe([] { return try_login(), 0; }).calls, "") << "somebody is logged in";
    set_auth_state(nullptr, nullptr);
    for (int kind : {0, static_cast<int>(OX_SOCKET_TCP)}) {
        socket_kind = kind;
        EXPECT_EQ(observe([] { return try_login(), 0; }).calls, "");
    }
}

TEST_F(Identity, LoginCommand) {
    setenv("USER", "carol", 1);
    EXPECT_EQ(command(login_command, "login", {}).calls.substr(0, 18), "login(carol,null) ");
    EXPECT_EQ(command(login_command, "login", {"dave", "-p", "pw"}).calls.substr(0, 15), "login(dave,pw) ");
    EXPECT_EQ(user(), "dave/pw");
    typed = "sec ret\nrest";
    typed_at = 0;
    Outcome o = command(login_command, "login", {"erin"});
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.out, "{off 0}[obxc] password for erin: {on 0}\n");
    EXPECT_EQ(user(), "erin/sec ret");
    EXPECT_EQ(typed_at, 8u) << "what follows the line is left alone";
}

TEST_F(Identity, LoginWithoutAnyName) {
    unsetenv("USER");
    Outcome o = command(login_command, "login", {});
    EXPECT_EQ(o.calls.substr(0, 17), "login(null,null) ");
    login_result = 9001;
    values["Device.Users.CurrentUser"] = "\"bob\"";
    o = command(login_command, "login", {});
    EXPECT_EQ(o.result, -1) << "nothing to try as a token";
    EXPECT_EQ(o.out, "Failed to authenticate user\n");
}

TEST_F(Identity, LoginCommandFails) {
    login_result = 9001;
    typed = "wrong\n";
    Outcome o = command(login_command, "login", {"erin"});
    EXPECT_EQ(o.result, -1);
    EXPECT_EQ(o.out, "{off 0}[obxc] password for erin: {on 0}\nFailed to authenticate user\n");
    EXPECT_EQ(user(), "null/null");
}

TEST_F(Identity, ThePasswordPromptAtTheEndOfInput) {
    Outcome o = command(login_command, "login", {"erin"});
    EXPECT_EQ(o.result, -1);
    EXPECT_EQ(o.calls, "") << "no login without a password that nobody refused to type";
    typed = "no newline";
    typed_at = 0;
    o = command(login_command, "login", {"erin"});
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(user(), "erin/no newline");
    typed = std::string(5000, 'p') + "\n";
    typed_at = 0;
    command(login_command, "login", {"erin"});
    EXPECT_EQ(user(), "erin/" + std::string(5000, 'p'));
    typed = "\n";
    typed_at = 0;
    command(login_command, "login", {"erin"});
    EXPECT_EQ(user(), "erin/");
}

TEST_F(Identity, LoginMisuse) {
    for (const auto& words :
         {std::vector<const char*>{"a", "b"}, {"a", "b", "c"}, {"a", "-P", "c"}, {"a", "-p", "b", "c"}}) {
        Outcome o = command(login_command, "login", words);
        EXPECT_EQ(o.result, -1);
        EXPECT_EQ(o.out, "syntax: login [<login> [-p <password>]]\n");
        EXPECT_EQ(o.calls, "");
    }
}

TEST_F(Identity, LogoutCommand) {
    Outcome o = command(logout_command, "logout", {"x"});
    EXPECT_EQ(o.result, -1);
    EXPECT_EQ(o.out, "syntax: logout\n");
    EXPECT_EQ(o.calls, "");
    o = command(logout_command, "logout", {});
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.calls, "colours changed logout changed ");
}

TEST_F(Identity, LoginIfGuest) {
    Outcome o = command(login_if_guest_command, "login_if_guest", {"admin", "secret"});
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(user(), "admin/secret");
    o = command(login_if_guest_command, "login_if_guest", {"other"});
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.calls, "") << "the daemon is not asked";
    set_auth_state(nullptr, nullptr);
    login_result = 9001;
    o = command(login_if_guest_command, "login_if_guest", {"token"});
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(user(), "null/null");
}

TEST_F(Identity, TheUserMayBeStoredAgain) {
    login_with("admin", "secret");
    set_auth_state(current_user, current_password);
    EXPECT_EQ(user(), "admin/secret");
}

}  // namespace
