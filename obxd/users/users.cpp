#include "users/users.hpp"

#include <pwd.h>

#include "json_error.hpp"
#include "owners.hpp"
#include "users/hash.hpp"

namespace obxd {

namespace {

constexpr size_t MAX_NAME = 64;
// Checked where no user at all has a password, so that the answer takes as long there too.
constexpr const char* STAND_IN = "$6$0123456789abcdef$";

bool wrong(std::string& error, const std::string& file, const std::string& what) {
    error = file + ": " + what;
    return false;
}

bool is_role(const char* role) {
    return rank_parse(role) > RANK_GUEST;
}

bool read_tokens(const json_t* tokens, User& user) {
    if (!tokens) return true;
    if (!json_is_array(tokens)) return false;
    size_t index = 0;
    json_t* token = nullptr;
    json_array_foreach(tokens, index, token) {
        if (!json_is_string(token) || json_string_length(token) != 64) return false;
        user.tokens.emplace_back(json_string_value(token));
    }
    return true;
}

bool read_user(const json_t* entry, User& user, std::string& what) {
    const char* name = json_string_value(json_object_get(entry, "name"));
    if (!name || !*name || json_string_length(json_object_get(entry, "name")) > MAX_NAME) {
        what = "an entry of \"users\" has no \"name\" of 1 to 64 bytes";
        return false;
    }
    user.name = name;
    const char* role = json_string_value(json_object_get(entry, "role"));
    if (!role || !is_role(role)) {
        what = "the \"role\" of " + user.name + " is none of user, admin and system";
        return false;
    }
    user.role = role;
    user.system_access = json_is_true(json_object_get(entry, "system_access"));
    const json_t* password = json_object_get(entry, "password");
    if (password && !json_is_null(password)) {
        if (!json_is_string(password) || !password_hash_ok(json_string_value(password))) {
            what = "the \"password\" of " + user.name + " is no hash (obxd --hash-password makes one)";
            return false;
        }
        user.password = json_string_value(password);
    }
    if (!read_tokens(json_object_get(entry, "tokens"), user)) {
        what = "the \"tokens\" of " + user.name + " are no list of SHA-256 digests";
        return false;
    }
    return true;
}

}  // namespace

bool users_load(const std::string& file, Users& users, std::string& error) {
    json_error_t where;
    JsonRef root(json_load_file(file.c_str(), 0, &where));
    if (!root) {
        std::string place = where.line > 0 ? " (line " + std::to_string(where.line) + ")" : "";
        return wrong(error, file, "cannot read the users: " + json_error_text(where) + place);
    }
    const json_t* list = json_object_get(root, "users");
    if (!json_is_array(list)) return wrong(error, file, "no list \"users\"");
    Users loaded;
    size_t index = 0;
    json_t* entry = nullptr;
    json_array_foreach(list, index, entry) {
        User user;
        std::string what;
        if (!read_user(entry, user, what)) return wrong(error, file, what);
        if (users_find(loaded, user.name))
            return wrong(error, file, "user " + user.name + " stands there twice");
        loaded.list.push_back(std::move(user));
    }
    users = std::move(loaded);
    return true;
}

void users_add_owner(Users& users, const std::string& name) {
    if (name.empty() || users_find(users, name)) return;
    User owner;
    owner.name = name;
    owner.role = "admin";
    owner.system_access = true;
    users.list.push_back(std::move(owner));
}

const User* users_find(const Users& users, std::string_view name) {
    for (const User& user : users.list) {
        if (user.name == name) return &user;
    }
    return nullptr;
}

std::string users_hash(const Users& users, std::string_view name) {
    const User* user = users_find(users, name);
    if (user && !user->password.empty()) return user->password;
    for (const User& other : users.list) {
        if (other.password.empty()) continue;
        return other.password[0] == HASH_LOCKED ? other.password : HASH_LOCKED + other.password;
    }
    return HASH_LOCKED + std::string(STAND_IN);
}

const User* users_by_token(const Users& users, std::string_view token) {
    if (token.empty()) return nullptr;
    std::string digest = token_hash(token);
    for (const User& user : users.list) {
        for (const std::string& known : user.tokens) {
            if (known == digest) return &user;
        }
    }
    return nullptr;
}

Caller caller_of(const User& user) {
    Caller caller;
    caller.user = user.name;
    caller.role = user.role;
    caller.system_access = user.system_access;
    return caller;
}

std::string system_user_name(uid_t uid) {
    passwd entry;
    passwd* found = nullptr;
    char buffer[4096];
    if (getpwuid_r(uid, &entry, buffer, sizeof buffer, &found) != 0 || !found) return "";
    return found->pw_name;
}

const User* login_without_password(const Users& users, const Peer& peer, const std::string& login,
                                   std::string& reason) {
    if (!peer.local) {
        reason = "A password is needed over the network";
        return nullptr;
    }
    if (peer.uid != 0 && login != system_user_name(peer.uid)) {
        reason = "A password is needed";
        return nullptr;
    }
    const User* user = users_find(users, login);
    if (!user) reason = "Unknown user";
    return user;
}

}  // namespace obxd
