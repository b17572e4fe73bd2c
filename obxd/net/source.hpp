// Where a connection comes from.
#pragma once

#include <sys/socket.h>

#include <string>

#include "net/connection.hpp"

namespace obxd {

/// Finds out who is at the other end of the connection's socket and fills in `local`, `uid`, `root` and
/// `source`. `peer` is the address that it was accepted with: the socket forgets it when the peer breaks off.
void source_find(Connection& c, bool local, const sockaddr_storage& peer);

}  // namespace obxd
