// Where a connection comes from.
#pragma once

#include <string>

#include "net/connection.hpp"

namespace obxd {

/// Finds out who is at the other end of the connection's socket and fills in `local`, `uid`, `root` and
/// `source`.
void source_find(Connection& c, bool local);

}  // namespace obxd
