// Owners for the daemon, whose threads and closures hold them as long as they like.
#pragma once

#include "ox_raii.hpp"

namespace obxd {

using JsonRef = ox_owner<json_t, ox_json_drop, ox_unheld>;
using CharsRef = ox_owner<char, ox_chars_drop, ox_unheld>;
using Fd = ox_fd<ox_unheld>;

}  // namespace obxd
