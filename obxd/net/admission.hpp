// Who is let in: the bounds on connections, and who makes room for whom.
//
// Guests are those who have not logged in. Local root, which is the daemon's own user as well, is bounded by
// all connections alone, and a share of them is kept for it.
#pragma once

#include "net/server.hpp"

namespace obxd {

/// Accepts who waits at the listener, as far as the bounds allow. A newcomer that finds them reached takes
/// the place of the guest that was silent longest: one of its own source at that source's bound, else of the
/// source that has most guests. Where there is none it is closed.
void admission_accept(Server& server, int listener, bool local);

/// Has the connection counted as one of who has logged in, as administrator where `trusted`; or of a guest.
void admission_guest(Connection& c);
void admission_login(Connection& c, bool trusted);

/// True when the connection is a guest's that was silent for too long.
bool admission_expired(const Server& server, const Connection& c, int64_t now);

}  // namespace obxd
