// Checking passwords so that many wrong ones hold up nobody else.
#pragma once

#include "device/device.hpp"

namespace obxd {

/// Checks a password on a thread, then calls `done` on the loop. One is checked at a time, in turns of the
/// sources and, within one, who has given fewer wrong ones first; local root's beside them. `source` is
/// filled in: that of who asks now. False when too many are waiting; `done` is not called then.
bool password_check(Device& device, PasswordCheck check);

}  // namespace obxd
