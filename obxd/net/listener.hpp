// The sockets on which the daemon waits for clients.
#pragma once

#include <string>

#include "owners.hpp"

namespace obxd {

/// Opens the local socket at `path` for everybody on the host. A socket that nobody serves any more is
/// replaced; one that answers, or a file of another kind, is an error. Fills `error` with one line and
/// returns an empty owner when it fails.
Fd listen_local(const std::string& path, std::string& error);

/// Listens on TCP; `port` 0 takes any free one and is set to it. An empty host means every address.
Fd listen_tcp(const std::string& host, int& port, std::string& error);

}  // namespace obxd
