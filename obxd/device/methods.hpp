// What the methods of the model do on this device.
#pragma once

#include <memory>
#include <string>

#include "device/device.hpp"
#include "net/server.hpp"

namespace obxd {

/// One call of a method, kept until it is finished.
struct Call {
    Device& device;
    uint64_t boots;    ///< the device's boot in which it began
    std::string path;  ///< of the method
    JsonRef inputs;    ///< object of relative name to value, complete and checked
    Caller caller;
    Reply reply;
    bool async = false;     ///< the outcome is told in an event
    bool answered = false;  ///< the request was answered
    bool waits = false;     ///< an async call whose answer waits a while for the outcome
};
using CallPtr = std::shared_ptr<Call>;

/// Ends a call with its output parameters (object of relative name to value; taken over).
void call_finish(const CallPtr& call, json_t* outputs);
void call_fail(const CallPtr& call, int code, const std::string& detail);
/// Runs `work` on a thread and `done` on the loop, unless the device was rebooted meanwhile.
void call_job(const CallPtr& call, std::function<void()> work, std::function<void()> done);

/// The object that the call's method stands in, without the final ".".
std::string call_object(const CallPtr& call);
const char* call_text(const CallPtr& call, const char* name, const char* otherwise);
int64_t call_number(const CallPtr& call, const char* name, int64_t otherwise);

// Methods.
void method_ping(const CallPtr& call);
void method_lookup(const CallPtr& call);
void method_connect(const CallPtr& call);
void method_reset_counters(const CallPtr& call);
void method_factory_reset(const CallPtr& call);
void method_wifi_reset(const CallPtr& call);
void method_schedule_timer(const CallPtr& call);
void method_debug(const CallPtr& call);
void method_check_credentials(const CallPtr& call);
void method_reboot(const CallPtr& call);
void method_trace_route(const CallPtr& call);
void method_interface_reset(const CallPtr& call);
void method_renew(const CallPtr& call);
void method_sensor_reset(const CallPtr& call);
void method_config_backup(const CallPtr& call);
void method_config_restore(const CallPtr& call);
void method_log_upload(const CallPtr& call);
void method_security_reset(const CallPtr& call);
void method_wps(const CallPtr& call);
void method_neighbors(const CallPtr& call);
void method_channel_scan(const CallPtr& call);

}  // namespace obxd
