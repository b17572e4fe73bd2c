// Addresses of TCP as people write them.
#pragma once

#include <string>

namespace obxd {

/// Splits HOST:PORT, an IPv6 host in brackets; an empty host or "*" means every address. False when it is
/// none.
bool split_host_port(const std::string& text, std::string& host, int& port);

}  // namespace obxd
