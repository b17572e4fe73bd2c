#include "device/model_events.hpp"

#include "device/clock.hpp"
#include "device/params.hpp"
#include "owners.hpp"

namespace obxd {

namespace {

constexpr int64_t BOOT_EVENT_MS = 1000;

// `given` is taken over.
void tell(Device& device, const std::string& object, const char* name, json_t* given) {
    JsonRef owned(given);
    json_t* arguments = device.store.event(object, name, given);
    if (arguments) device_event(device, (object + name).c_str(), arguments);
}

const char* text_at(Store& store, const std::string& path) {
    const char* text = json_string_value(store.value(path));
    return text ? text : "";
}

}  // namespace

void boot_event(Device& device) {
    uint64_t boots = device.boots;
    loop_after(device.loop, BOOT_EVENT_MS, [&device, boots] {
        if (boots != device.boots) return;
        tell(device, "Device.", "Boot!",
             json_pack("{s:s, s:s, s:b, s:s}", "Cause", device.boot.remote ? "RemoteReboot" : "LocalReboot",
                       "Reason", device.boot.reason, "FirmwareUpdated", device.boot.updated, "ParameterMap",
                       "{}"));
    });
}

Reply transfer_event(Device& device, const char* type, const std::string& command, const json_t* params,
                     const Reply& reply) {
    const char* given = text_param(params, "URL");
    std::string url = given ? given : "", start = time_text();
    return [&device, type, command, url, start, reply, boots = device.boots](Answer answer) {
        int code = answer.code;
        std::string detail = answer.detail.substr(0, 256);
        reply(std::move(answer));
        if (boots != device.boots) return;
        tell(device, "Device.LocalAgent.", "TransferComplete!",
             json_pack("{s:s, s:s, s:s, s:s, s:s, s:i, s:s}", "Command", command.c_str(), "TransferType",
                       type, "TransferURL", url.c_str(), "StartTime", start.c_str(), "CompleteTime",
                       time_text().c_str(), "FaultCode", code, "FaultString", detail.c_str()));
    };
}

void station_event(Device& device, const std::string& access_point, const char* address) {
    std::string ssid = text_at(device.store, access_point + ".SSIDReference");
    tell(device, "Device.WiFi.DataElements.AssociationEvent.", "Associated!",
         json_pack("{s:s, s:s, s:s, s:i}", "TimeStamp", time_text().c_str(), "BSSID",
                   text_at(device.store, ssid + ".BSSID"), "MACAddress", address, "StatusCode", 0));
}

}  // namespace obxd
