// What is remembered of a client: the user that it is logged in as, and its groups.
#pragma once

#include <stdint.h>

#include <vector>

#include "requests/missed.hpp"
#include "requests/requests.hpp"

namespace obxd {

struct Session {
    Caller caller;
    int failed_logins = 0;         ///< since the last that was right, up to a bound
    std::vector<uint32_t> groups;  ///< sorted
    MissedChanges missed;          ///< to be told once the client has read what it was sent
};

/// The session that the connection carries; a new one at its first use.
Session& session_of(Connection& c);
bool session_in_group(const Session& session, uint32_t group);

/// Has the connection be the user's from now on, or a guest's.
void session_enter(Connection& c, const Caller& caller);
void session_end(Connection& c);

/// The methods about the connection itself.
void session_login(Request& request);
void session_logout(Request& request);
void session_join(Request& request);
void session_leave(Request& request);

}  // namespace obxd
