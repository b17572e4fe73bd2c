// Methods of the radios: what they find when they listen, and who joins.
#pragma once

#include "device/call.hpp"

namespace obxd {

void method_neighbors(const CallPtr& call);
void method_channel_scan(const CallPtr& call);
void method_wps(const CallPtr& call);

}  // namespace obxd
