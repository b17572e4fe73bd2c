#include "device/methods.hpp"

#include <errno.h>
#include <string.h>

#include "device/config.hpp"
#include "device/live.hpp"
#include "device/password.hpp"
#include "ox_tr_names.hpp"

namespace obxd {

namespace {

// Tells how far the timer is, second by second, until it is through.
void tick(const CallPtr& call, int64_t done, int64_t seconds) {
    if (call->boots != call->device.boots) return;
    if (done == seconds) return call_finish(call, json_object());
    device_event(call->device, "OperationProgress",
                 json_pack("{s:s, s:I}", OX_TR_PATH, call->path.c_str(), "Percent",
                           static_cast<json_int_t>(100 * done / seconds)));
    loop_after(call->device.loop, 1000, [call, done, seconds] { tick(call, done + 1, seconds); });
}

void set_debug(const CallPtr& call, const std::string& mode) {
    call->device.store.set_value("Device.System.DebugMode", json_string(mode.c_str()));
    journal_add(call->device.journal, "debug mode %s by %s", mode.c_str(), call->caller.user.c_str());
    device_event(call->device, "DebugMode", json_pack("{s:s}", "Mode", mode.c_str()));
    call_finish(call, json_object());
}

void check_password(const CallPtr& call, const std::string& hash, const std::string& password,
                    const std::function<void(bool matches)>& done) {
    if (!password_check(call->device, {0, hash, password, done}))
        call_fail(call, FAULT_RESOURCES, "Too many logins at once");
}

}  // namespace

void method_schedule_timer(const CallPtr& call) {
    int64_t seconds = call_number(call, "DelaySeconds", 0);
    if (seconds < 1 || seconds > 86400)
        return call_fail(call, FAULT_INVALID_ARGUMENTS, "\"DelaySeconds\" must be 1 to 86400");
    tick(call, 0, seconds);
}

void method_wifi_reset(const CallPtr& call) {
    Store& store = call->device.store;
    json_int_t count = json_integer_value(store.value("Device.WiFi.ResetCounter"));
    store.set_value("Device.WiFi.ResetCounter", json_integer(count + 1));
    store.set_value("Device.WiFi.ResetCause", json_string("HostReinit"));
    call_finish(call, json_object());
}

void method_factory_reset(const CallPtr& call) {
    if (call->device.flashing) return call_fail(call, FAULT_REQUEST_DENIED, "Firmware is being flashed");
    if (!device_reset(call->device, false, nullptr)) return call_fail(call, FAULT_RESOURCES, strerror(errno));
    call_finish(call, json_object());
}

void method_reset_counters(const CallPtr& call) {
    live_reset_counters(call->device, call_object(call));
    call_finish(call, json_object());
}

void method_reboot(const CallPtr& call) {
    if (call->device.flashing) return call_fail(call, FAULT_REQUEST_DENIED, "Firmware is being flashed");
    call_finish(call, json_object());
    device_begin_reboot(call->device, 50, "Reboot method");
}

void method_debug(const CallPtr& call) {
    const Users& users = call->device.users;
    const User* user = users_find(users, call->caller.user);
    if (!user) return call_fail(call, FAULT_REQUEST_DENIED, "Guests cannot change the debug mode");
    std::string mode = call_text(call, "Mode", "");
    if (mode != "Disabled" && mode != "Temporary" && mode != "Permanent")
        return call_fail(call, FAULT_INVALID_ARGUMENTS, "\"Mode\" must be Disabled, Temporary or Permanent");
    const char* password = call_text(call, "UserPassword", nullptr);
    if (mode == "Disabled") return set_debug(call, mode);
    if (!password || !*password)
        return call_fail(call, FAULT_REQUEST_DENIED, "The current user's password is needed");
    if (user->password.empty()) return call_fail(call, FAULT_REQUEST_DENIED, user->name + " has no password");
    check_password(call, user->password, password, [call, mode](bool matches) {
        if (!matches) return call_fail(call, FAULT_REQUEST_DENIED, "Wrong password");
        set_debug(call, mode);
    });
}

void method_check_credentials(const CallPtr& call) {
    const char* name = call_text(call, "Username", nullptr);
    const char* password = call_text(call, "Password", nullptr);
    if (!name || !password) return call_finish(call, json_pack("{s:s}", "Status", "Credentials_Missing"));
    const User* user = users_find(call->device.users, name);
    if (!user || user->password.empty())
        return call_finish(call,
                           json_pack("{s:s}", "Status", "Credentials_Bad_Requested_Username_Not_Supported"));
    check_password(call, user->password, password, [call](bool matches) {
        const char* status = matches ? "Credentials_Good" : "Credentials_Bad_Requested_Password_Incorrect";
        call_finish(call, json_pack("{s:s}", "Status", status));
    });
}

}  // namespace obxd
