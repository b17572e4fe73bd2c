#include "device/execute.hpp"

#include "device/call.hpp"
#include "device/change.hpp"
#include "device/diagnostics.hpp"
#include "device/maintain.hpp"
#include "device/methods.hpp"
#include "device/model.hpp"
#include "device/wifi.hpp"
#include "owners.hpp"
#include "ox_tr_path.hpp"

namespace obxd {

namespace {

struct MethodRow {
    const char* path;  ///< "*" stands for any instance
    void (*run)(const CallPtr&);
    bool patient = false;  ///< where it is async and soon through, the answer holds the outcome
    bool lasting = false;  ///< what it does cannot be taken back
};

constexpr int64_t PATIENCE_MS = 2000;  // clients wait for 5 seconds

constexpr MethodRow METHODS[] = {
    {"Device.System.Debug", method_debug},
    {"Device.Reboot", method_reboot},
    {"Device.FactoryReset", method_factory_reset, false, true},
    {"Device.WiFi.Reset", method_wifi_reset},
    {"Device.ScheduleTimer", method_schedule_timer},
    {"Device.IP.Diagnostics.IPPing", method_ping, true},
    {"Device.IP.Diagnostics.TCPConnect", method_connect, true},
    {"Device.DNS.Diagnostics.NSLookupDiagnostics", method_lookup, true},
    {"Device.Users.CheckCredentialsDiagnostics", method_check_credentials},
    {"Device.Ethernet.Interface.*.Stats.Reset", method_reset_counters},
    {"Device.WiFi.Radio.*.Stats.Reset", method_reset_counters},
    {"Device.WiFi.SSID.*.Stats.Reset", method_reset_counters},
    {"Device.IP.Interface.*.Stats.Reset", method_reset_counters},
    {"Device.IP.Diagnostics.TraceRoute", method_trace_route, true},
    {"Device.IP.Interface.*.Reset", method_interface_reset},
    {"Device.DHCPv4.Client.*.Renew", method_renew},
    {"Device.DeviceInfo.TemperatureStatus.TemperatureSensor.*.Reset", method_sensor_reset},
    {"Device.DeviceInfo.VendorConfigFile.*.Backup", method_config_backup},
    {"Device.DeviceInfo.VendorConfigFile.*.Restore", method_config_restore, true, true},
    {"Device.DeviceInfo.VendorLogFile.*.Upload", method_log_upload},
    {"Device.WiFi.AccessPoint.*.Security.Reset", method_security_reset},
    {"Device.WiFi.AccessPoint.*.WPS.InitiateWPSPBC", method_wps},
    {"Device.WiFi.NeighboringWiFiDiagnostic", method_neighbors},
    {"Device.WiFi.Radio.*.ChannelScan", method_channel_scan},
};

/// Whether the method is the row's; published models write "()" behind its name.
bool path_matches(std::string_view pattern, std::string_view path) {
    if (path.ends_with("()")) path.remove_suffix(2);
    ox_tr_components given(path);
    auto name = given.begin();
    for (std::string_view wanted : ox_tr_components(pattern)) {
        if (!(name != given.end()) || (wanted != "*" && wanted != *name)) return false;
        ++name;
    }
    return !(name != given.end());
}

}  // namespace

void device_execute(Device& device, const json_t* params, const Reply& reply) {
    std::string path;
    json_t* inputs = nullptr;
    Answer checked = device.store.check_execute(*device.asker.caller, params, path, inputs);
    JsonRef owned(inputs);
    if (checked.code != 0) return reply(std::move(checked));
    const MethodRow* row = nullptr;
    for (const MethodRow& candidate : METHODS) {
        if (path_matches(candidate.path, path)) row = &candidate;
    }
    if (!row) return reply(answer_fault(FAULT_METHOD_NOT_SUPPORTED, "This device cannot run " + path));
    if (row->lasting) checked = change_refuses_lasting(device, path.c_str());
    if (checked.code) return reply(std::move(checked));
    CallPtr call(new Call{device, device.boots, path, std::move(owned), *device.asker.caller, reply});
    call->async = json_is_true(json_object_get(model_attributes(device.store, path), "async"));
    journal_add(device.journal, "%s run", path.c_str());
    row->run(call);
    if (!call->async || call->answered) return;
    if (!row->patient) return call_began(*call);
    call->waits = true;
    loop_after(device.loop, PATIENCE_MS, [call] { call_began(*call); });
}

}  // namespace obxd
