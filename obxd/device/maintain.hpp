// Methods that look after a part of the device: its files, lease, sensors and interfaces.
#pragma once

#include "device/call.hpp"

namespace obxd {

void method_config_backup(const CallPtr& call);
void method_log_upload(const CallPtr& call);
void method_config_restore(const CallPtr& call);
void method_renew(const CallPtr& call);
void method_sensor_reset(const CallPtr& call);
void method_interface_reset(const CallPtr& call);
void method_security_reset(const CallPtr& call);

}  // namespace obxd
