#include <string.h>

#include "answers.hpp"
#include "device/methods.hpp"

namespace obxd {

namespace {

struct MethodRow {
    const char* path;  ///< "*" stands for any instance
    void (*run)(const CallPtr&);
    bool patient = false;  ///< where it is async and soon through, the answer holds the outcome
};

constexpr int64_t PATIENCE_MS = 2000;  // clients wait for 5 seconds

constexpr MethodRow METHODS[] = {
    {"Device.System.Debug", method_debug},
    {"Device.Reboot", method_reboot},
    {"Device.FactoryReset", method_factory_reset},
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
    {"Device.DeviceInfo.VendorConfigFile.*.Restore", method_config_restore, true},
    {"Device.DeviceInfo.VendorLogFile.*.Upload", method_log_upload},
    {"Device.WiFi.AccessPoint.*.Security.Reset", method_security_reset},
    {"Device.WiFi.AccessPoint.*.WPS.InitiateWPSPBC", method_wps},
    {"Device.WiFi.NeighboringWiFiDiagnostic", method_neighbors},
    {"Device.WiFi.Radio.*.ChannelScan", method_channel_scan},
};

std::string_view cut_component(std::string_view& path) {
    size_t dot = path.find('.');
    std::string_view first = path.substr(0, dot);
    path.remove_prefix(dot == std::string_view::npos ? path.size() : dot + 1);
    return first;
}

bool path_matches(std::string_view pattern, std::string_view path) {
    while (!pattern.empty() && !path.empty()) {
        std::string_view wanted = cut_component(pattern);
        std::string_view given = cut_component(path);
        if (wanted != "*" && wanted != given) return false;
    }
    return pattern.empty() && path.empty();
}

bool is_async(Store& store, const std::string& path) {
    JsonRef params(json_pack("{s:[s], s:i}", "ParameterNames", path.c_str(), "Level", 0));
    Answer answer = store.get_attributes(Caller{"", "system", true}, params);
    const json_t* row = json_array_get(json_object_get(answer.result, "ParameterList"), 0);
    bool async = json_is_true(json_object_get(json_object_get(row, "Attributes"), "async"));
    answer_drop(answer);
    return async;
}

json_t* full_names(const Call& call, const json_t* outputs) {
    json_t* list = json_array();
    const char* name = nullptr;
    json_t* value = nullptr;
    json_object_foreach(const_cast<json_t*>(outputs), name, value) {
        std::string full = call.path + "." + name;
        json_array_append_new(list, json_pack("{s:s, s:O}", "Name", full.c_str(), "Value", value));
    }
    return list;
}

// The answer of an async method, which says no more than that it began.
void answer_began(Call& call) {
    if (call.answered) return;
    call.answered = true;
    call.reply(answer_result(json_pack("{s:[]}", "ParameterList")));
}

}  // namespace

void call_finish(const CallPtr& call, json_t* outputs) {
    JsonRef owned(outputs);
    JsonRef list(full_names(*call, outputs));
    if (!call->async) {
        call->answered = true;
        return call->reply(answer_result(json_pack("{s:O}", "ParameterList", list.get())));
    }
    if (call->waits && !call->answered) {
        call->answered = true;
        call->reply(answer_result(json_pack("{s:O}", "ParameterList", list.get())));
    }
    answer_began(*call);
    if (call->boots != call->device.boots) return;
    device_event(call->device, "OperationComplete",
                 json_pack("{s:s, s:O}", "Path", call->path.c_str(), "ParameterList", list.get()));
}

void call_fail(const CallPtr& call, int code, const std::string& detail) {
    if (!call->answered) {
        call->answered = true;
        call->reply(answer_fault(code, detail));
        if (!call->waits) return;
    }
    if (call->boots != call->device.boots) return;
    device_event(call->device, "OperationComplete",
                 json_pack("{s:s, s:{s:i, s:s, s:s}}", "Path", call->path.c_str(), "Error", "code", code,
                           "message", code_text(code), "Detail", detail.c_str()));
}

void call_job(const CallPtr& call, std::function<void()> work, std::function<void()> done) {
    if (!loop_start_job(call->device.server.loop, std::move(work), std::move(done)))
        call_fail(call, FAULT_RESOURCES, "Too many jobs at once");
}

std::string call_object(const CallPtr& call) {
    return call->path.substr(0, call->path.rfind('.'));
}

const char* call_text(const CallPtr& call, const char* name, const char* otherwise) {
    const char* text = text_param(call->inputs, name);
    return text ? text : otherwise;
}

int64_t call_number(const CallPtr& call, const char* name, int64_t otherwise) {
    const json_t* value = json_object_get(call->inputs, name);
    return json_is_integer(value) ? json_integer_value(value) : otherwise;
}

void device_execute(Request& request) {
    Device& device = *request.server.device;
    std::string path;
    json_t* inputs = nullptr;
    Answer checked = device.server.store->check_execute(request.caller, request.params, path, inputs);
    JsonRef owned(inputs);
    if (checked.code != 0) return request.reply(checked);
    answer_drop(checked);
    const MethodRow* row = nullptr;
    for (const MethodRow& candidate : METHODS) {
        if (path_matches(candidate.path, path)) row = &candidate;
    }
    if (!row)
        return request.reply(answer_fault(FAULT_METHOD_NOT_SUPPORTED, "This device cannot run " + path));
    CallPtr call(new Call{device, device.boots, path, std::move(owned), request.caller, request.reply});
    call->async = is_async(*device.server.store, path);
    journal_add(device.server.journal, "%s run", path.c_str());
    row->run(call);
    if (!call->async || call->answered) return;
    if (!row->patient) return answer_began(*call);
    call->waits = true;
    loop_after(device.server.loop, PATIENCE_MS, [call] { answer_began(*call); });
}

}  // namespace obxd
