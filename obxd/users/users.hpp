// Who may use the daemon: the users file, and the rules of a login.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "caller.hpp"

namespace obxd {

struct User {
    std::string name;
    std::string role;  ///< "user", "admin" or "system"
    bool system_access = false;
    std::string password;             ///< hash; "" when no password lets this user in
    std::vector<std::string> tokens;  ///< SHA-256 of each token, lower-case hexadecimal
};

struct Users {
    std::vector<User> list;
};

/// Reads a users file. False with `error`, which names the file, when it is unreadable or wrong.
bool users_load(const std::string& file, Users& users, std::string& error);
/// Makes `name` known as a user with system access, if it is not known yet.
void users_add_owner(Users& users, const std::string& name);

const User* users_find(const Users& users, std::string_view name);
const User* users_by_token(const Users& users, std::string_view token);
Caller caller_of(const User& user);

/// The system's name of a user id; "" when it has none.
std::string system_user_name(uid_t uid);

/// What a login as `name` is checked against by password_matches: the user's hash; for who has none or is not
/// known, one that no password opens but whose check takes as long as another user's.
std::string users_hash(const Users& users, std::string_view name);

/// Where a request comes from.
struct Peer {
    bool local = false;  ///< a local socket, so that `uid` is known
    uid_t uid = 0;
};

/// The rule of a login without a password: only over the local socket, and only as the user that owns the
/// peer process, or as any user when the peer is root. Null when it is refused; `reason` then says why.
const User* login_without_password(const Users& users, const Peer& peer, const std::string& login,
                                   std::string& reason);

}  // namespace obxd
