// Methods that try out the network.
#pragma once

#include "device/call.hpp"

namespace obxd {

void method_ping(const CallPtr& call);
void method_trace_route(const CallPtr& call);
void method_lookup(const CallPtr& call);
void method_connect(const CallPtr& call);

}  // namespace obxd
