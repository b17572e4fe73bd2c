#include "session/identity.hpp"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "ox_confapi.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_log.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"
#include "ox_socket.hpp"
#include "ox_user.hpp"
#include "session/channels.hpp"
#include "session/password.hpp"
#include "session/prompt.hpp"

char* current_user = nullptr;
char* current_password = nullptr;
bool system_access = false;
bool token_login = false;

namespace {

void (*identity_changed)(void) = nullptr;
/// A login or logout is under way: after a jump out of its exchange nobody knows whose session the daemon
/// takes it for.
bool in_doubt = false;
constexpr int RECOVER_TIMEOUT_MS = 200;

void store_identity(const char* user, const char* password) {
    char* new_user = user ? ox_memory_text(user) : nullptr;
    char* new_password = password ? ox_memory_text(password) : nullptr;
    char* old_user = current_user;
    char* old_password = current_password;
    current_user = new_user;
    current_password = new_password;
    free(old_user);
    password_drop(old_password);
}

bool read_system_access() {
    ox_confapi_ignore_next_error_exec(1);
    JsonRef value(ox_confapi_getconfig("Device.Users.SystemAccess"));
    return json_is_true(value);
}

void set_token(const char* token) {
    ox_jrpcapi_set_auth(request_channel, 0, token, 0, OX_JRPCAPI_TIMEOUT_MS);
}

void set_relogin(bool on) {
    uint32_t flags = ox_jrpcapi_get_flags(request_channel);
    flags = on ? flags | OX_JRPCAPI_RELOGIN : flags & ~static_cast<uint32_t>(OX_JRPCAPI_RELOGIN);
    ox_jrpcapi_set_flags(request_channel, flags);
}

/// Whether the daemon names a user for `token`, which then stays on the connection. An empty name is no
/// user's but a guest's, whose token was not known: it counts as none.
bool login_with_token(const char* token) {
    if (!token || !*token) return false;
    set_token(token);
    JsonRef user(ox_confapi_getconfig("Device.Users.CurrentUser"));
    if (json_string_length(user) == 0) {
        set_token("");
        return false;
    }
    set_relogin(false);
    token_login = true;
    set_auth_state(json_string_value(user), nullptr);
    return true;
}

/// Makes the session a guest's and tells the daemon, unless it knows by the token that is no longer sent.
int end_session() {
    in_doubt = true;
    set_auth_state(nullptr, nullptr);
    int result = 0;
    if (token_login) {
        set_token("");
    } else {
        result = ox_jrpcapi_logout(request_channel);
    }
    in_doubt = false;
    return result;
}

}  // namespace

void identity_on_change(void (*changed)(void)) {
    identity_changed = changed;
}

void set_auth_state(const char* user, const char* password) {
    store_identity(user, password);
    if (user) in_doubt = false;
    system_access = false;
    system_access = current_user && read_system_access();
    colour_apply(colour_scheme);
    prompt_rebuild();
    if (identity_changed) identity_changed();
}

int login_with(const char* login, const char* password) {
    in_doubt = true;
    if (ox_jrpcapi_login(request_channel, login, password) == 0) {
        const char* earlier_token = ox_jrpcapi_get_auth(request_channel);
        if (earlier_token && *earlier_token) set_token("");
        set_relogin(true);
        token_login = false;
        set_auth_state(login, password);
        return 0;
    }
    if (login_with_token(login)) return 0;
    end_session();
    set_auth_state(nullptr, nullptr);
    return -1;
}

int logout_session(void) {
    int result = end_session();
    // Metadata that was fetched during the logout is what the old user could see.
    if (identity_changed) identity_changed();
    return result;
}

void try_login(void) {
    if (current_user) return;
    if (ox_socket_type(ox_jrpcapi_socket(request_channel)) != OX_SOCKET_LOCAL) return;
    long limit = sysconf(_SC_GETPW_R_SIZE_MAX);
    size_t size = limit < 0 ? 16384 : static_cast<size_t>(limit);
    CharsRef buffer(static_cast<char*>(_xmalloc(size, "try_login", 569, "obxc/main")));
    const char* name = ox_user_name(buffer, size);
    if (name) login_with(name, nullptr);
}

void identity_recover(void) {
    if (in_doubt) {
        in_doubt = false;
        store_identity(nullptr, nullptr);
        system_access = false;
        set_token("");
        set_relogin(false);
        // Only sent: its answer comes behind that of the exchange that was cut off, and waiting for a daemon
        // that is stuck would keep the person from the prompt.
        MsgRef message(ox_jrpcmsg_create_new("Logout", nullptr));
        int timeout = ox_jrpcapi_get_timeout(request_channel);
        ox_jrpcapi_set_timeout(request_channel, RECOVER_TIMEOUT_MS);
        if (ox_jrpcapi_socket(request_channel)) ox_jrpcapi_send(request_channel, message);
        ox_jrpcapi_set_timeout(request_channel, timeout);
    }
    colour_apply(colour_scheme);
}

void identity_free(void) {
    store_identity(nullptr, nullptr);
}
