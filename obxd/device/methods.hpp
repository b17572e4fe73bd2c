// Methods about the device as a whole and its users.
#pragma once

#include "device/call.hpp"

namespace obxd {

void method_schedule_timer(const CallPtr& call);
void method_wifi_reset(const CallPtr& call);
void method_factory_reset(const CallPtr& call);
void method_reset_counters(const CallPtr& call);
void method_reboot(const CallPtr& call);
void method_debug(const CallPtr& call);
void method_check_credentials(const CallPtr& call);

}  // namespace obxd
