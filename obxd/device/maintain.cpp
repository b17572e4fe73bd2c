#include "device/maintain.hpp"

#include <string.h>
#include <strings.h>

#include "device/clock.hpp"
#include "device/config.hpp"
#include "device/model_events.hpp"
#include "device/restore_points.hpp"
#include "device/transfer.hpp"
#include "digest.hpp"

namespace obxd {

namespace {

constexpr int LEASE_SECONDS = 86400;

// Ends the call as the transfer went.
Reply finish_with(const CallPtr& call, const char* type) {
    return transfer_event(call->device, type, call->path, call->inputs, [call](Answer answer) {
        if (answer.code == 0)
            call_finish(call, json_object());
        else
            call_fail(call, answer.code, answer.detail);
    });
}

void upload(const CallPtr& call, const char* kind) {
    finish_with(call, "Upload")(upload_file(call->device, kind, call->inputs));
}

Store& store_of(const CallPtr& call) {
    return call->device.store;
}

}  // namespace

void method_config_backup(const CallPtr& call) {
    const std::string* point = restore_point_at(call->device, call_object(call));
    if (!point) return upload(call, "Config");
    finish_with(call, "Upload")(
        upload_copy(call->device, restore_point_file(call->device, *point), "config.json", call->inputs));
}

void method_log_upload(const CallPtr& call) {
    upload(call, "Log");
}

void method_config_restore(const CallPtr& call) {
    const std::string* point = restore_point_at(call->device, call_object(call));
    if (!*call_text(call, "URL", "")) {
        if (!point) return call_fail(call, FAULT_INVALID_ARGUMENTS, "\"URL\" is missing");
        std::string url = "file://" + restore_point_file(call->device, *point);
        json_object_set_new(call->inputs, "URL", json_string(url.c_str()));
    }
    // Without a size any will do.
    if (call_number(call, "FileSize", 0) == 0) json_object_del(call->inputs, "FileSize");
    std::string algorithm = call_text(call, "CheckSumAlgorithm", "SHA-1");
    std::string wanted = call_text(call, "CheckSum", "");
    download_config(call->device, call->inputs, finish_with(call, "Download"),
                    [algorithm, wanted](Fetch& fetch) {
                        if (wanted.empty() ||
                            strcasecmp(wanted.c_str(), digest_of_file(algorithm, fetch.file).c_str()) == 0)
                            return;
                        fetch.code = FAULT_CORRUPTED;
                        fetch.detail = "\"CheckSum\" does not fit";
                    });
}

void method_renew(const CallPtr& call) {
    Store& store = store_of(call);
    std::string client = call_object(call) + ".";
    if (!json_is_true(store.value(client + "Enable")))
        return call_fail(call, FAULT_REQUEST_DENIED, client + " is disabled");
    store.set_value(client + "DHCPStatus", json_string("Renewing"));
    store.set_value(client + "LeaseTimeRemaining", json_integer(LEASE_SECONDS));
    store.set_value(client + "DHCPStatus", json_string("Bound"));
    call_finish(call, json_object());
}

// Lowest and highest begin again from the present value.
void method_sensor_reset(const CallPtr& call) {
    Store& store = store_of(call);
    std::string sensor = call_object(call) + ".";
    json_int_t now = json_integer_value(store.value(sensor + "Value"));
    store.set_value(sensor + "MinValue", json_integer(now));
    store.set_value(sensor + "MaxValue", json_integer(now));
    store.set_value(sensor + "LastUpdate", json_string(time_text().c_str()));
    call_finish(call, json_object());
}

// Down and, where it is enabled, up again.
void method_interface_reset(const CallPtr& call) {
    Store& store = store_of(call);
    std::string interface = call_object(call) + ".";
    store.set_value(interface + "Status", json_string("Down"));
    if (json_is_true(store.value(interface + "Enable")))
        store.set_value(interface + "Status", json_string("Up"));
    store.set_value(interface + "LastChange", json_integer(0));
    call_finish(call, json_object());
}

void method_security_reset(const CallPtr& call) {
    store_of(call).reset_object(call_object(call));
    call_finish(call, json_object());
}

}  // namespace obxd
