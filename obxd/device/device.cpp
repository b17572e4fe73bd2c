#include "device/device.hpp"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "device/change.hpp"
#include "device/config.hpp"
#include "device/files.hpp"
#include "device/firmware.hpp"
#include "device/image.hpp"
#include "device/live.hpp"
#include "device/model.hpp"
#include "device/model_events.hpp"
#include "device/params.hpp"
#include "device/restore_points.hpp"
#include "json_error.hpp"
#include "one_line.hpp"
#include "owners.hpp"

namespace obxd {

namespace {

constexpr int64_t ANSWER_MS = 50;  // time for the answer to leave before a device goes down
constexpr const char* VERSION_PATH = "Device.DeviceInfo.SoftwareVersion";
constexpr const char* GATEWAY_VERSION_PATH = "InternetGatewayDevice.DeviceInfo.SoftwareVersion";
constexpr const char* MODE_PATH = "Device.DeviceInfo.DeviceMode";

std::string text_value(Store& store, const char* path) {
    const char* text = json_string_value(store.value(path));
    return text ? text : "";
}

void complain(Device& device, const std::string& path, const std::string& error) {
    std::string line = one_line(path + ": " + error + "; starting with the defaults");
    fprintf(stderr, "obxd: %s\n", line.c_str());
    journal_add(device.journal, "%s: %s", path.c_str(), error.c_str());
}

// Version and mode as they were written down. False with `error` when the file is not one of ours.
bool read_state(Device& device, const std::string& path, std::string& error) {
    json_error_t where;
    JsonRef state(json_load_file(path.c_str(), 0, &where));
    const json_t* version = json_object_get(state, "SoftwareVersion");
    const json_t* mode = json_object_get(state, "DeviceMode");
    if (!json_is_string(version) || (mode && !json_is_string(mode))) {
        error = state ? "No state file" : json_error_text(where);
        return false;
    }
    bool given_by_model = device.version == json_string_value(version);
    if (!given_by_model && !version_ok(json_string_value(version))) {
        error = std::string("No version: ") + json_string_value(version);
        return false;
    }
    if (mode && !device_mode_allowed(device, json_string_value(mode))) {
        error = std::string("No such device mode: ") + json_string_value(mode);
        return false;
    }
    device.version = json_string_value(version);
    device.mode = mode ? json_string_value(mode) : "";
    return true;
}

void load_state(Device& device) {
    device.version = text_value(device.store, VERSION_PATH);
    if (device.version.empty()) device.version = text_value(device.store, GATEWAY_VERSION_PATH);
    device.mode.clear();
    std::string path = device.state.path + "/state.json";
    std::string error;
    if (access(path.c_str(), F_OK) == 0 && !read_state(device, path, error)) complain(device, path, error);
}

void boot(Device& device) {
    std::string path = config_path(device);
    std::string error;
    if (access(path.c_str(), F_OK) == 0 && !config_load(device, path, false, error))
        complain(device, path, error);
    device.booted = now_ms();
    device.rebooting = device.flashing = false;
    device.progress = 0;
    device.upgrade_status = UPGRADE_REST;
    device.refused.clear();
    device.live.base.clear();
    device_apply(device);
    journal_add(device.journal, "booted, firmware %s", device.version.c_str());
}

void come_back(Device& device) {
    std::string version = device.version;
    device.store.reset_defaults({});
    load_state(device);
    device.boot.updated = device.version != version;
    boot(device);
    device.come_up();
    boot_event(device);
}

void go_down(Device& device, const char* cause) {
    change_lose(device);
    device_event(device, "Reboot", json_pack("{s:s}", "Cause", cause));
    device.boots++;
    device.boot = {true, cause, false};
    device.flashing = false;
    firmware_cancel(device);
    device.go_down();
    loop_after(device.loop, device.options.reboot_ms, [&device] { come_back(device); });
}

}  // namespace

bool device_start(Device& device, std::string& error) {
    if (!state_dir_open(device.state, device.options.state_dir, error)) return false;
    change_recover(device);
    load_state(device);
    live_register(device);
    device.store.set_hook(MODE_PATH, [&device](const std::string&, json_t*) { device.mode.clear(); });
    boot(device);
    boot_event(device);
    return true;
}

void device_stop(Device& device) {
    if (device.state.lock.get() >= 0) firmware_cancel(device);
    state_dir_close(device.state);
}

void device_begin_reboot(Device& device, int64_t delay_ms, const char* cause) {
    if (device.rebooting) return;
    if (firmware_cut_off(device)) delay_ms = std::max(delay_ms, SHOW_END_MS);
    device.rebooting = true;
    journal_add(device.journal, "rebooting: %s", cause);
    loop_after(device.loop, delay_ms, [&device, cause] { go_down(device, cause); });
}

void device_apply(Device& device) {
    Store& store = device.store;
    store.set_value(VERSION_PATH, json_string(device.version.c_str()));
    std::string image = text_value(store, "Device.DeviceInfo.ActiveFirmwareImage");
    if (!image.empty()) store.set_value(image + ".Version", json_string(device.version.c_str()));
    if (!device.mode.empty()) store.set_value(MODE_PATH, json_string(device.mode.c_str()));
    store.set_value("Device.DeviceInfo.UpgradeStatus", json_integer(device.upgrade_status));
    store.set_value("Device.DeviceInfo.UpgradeProgress", json_integer(device.progress));
    restore_points_update(device);
}

bool device_save_state(Device& device) {
    JsonRef state(json_pack("{s:s}", "SoftwareVersion", device.version.c_str()));
    if (!device.mode.empty()) json_object_set_new(state, "DeviceMode", json_string(device.mode.c_str()));
    CharsRef text(json_dumps(state, JSON_INDENT(2)));
    return write_file(device.state.path + "/state.json", text.get() ? text.get() : "{}");
}

std::string device_temp_file(Device& device) {
    return state_dir_temp_file(device.state, device.files++);
}

bool device_mode_allowed(Device& device, const std::string& mode) {
    JsonRef attributes = model_attributes(device.store, MODE_PATH);
    const json_t* allowed = json_object_get(attributes, "enum");
    for (size_t i = 0; i < json_array_size(allowed); i++) {
        const char* text = json_string_value(json_array_get(allowed, i));
        if (text && mode == text) return true;
    }
    return false;
}

void device_event(Device& device, const char* name, json_t* params) {
    json_t* event = json_pack("{s:s}", "Event", name);
    if (params) json_object_update(event, params);
    json_decref(params);
    device.tell(event);
}

void device_reboot(Device& device, const json_t* params, const Reply& reply) {
    const char* mode = text_param(params, "DeviceMode");
    if (mode && !device_mode_allowed(device, mode))
        return reply(
            answer_fault(FAULT_INVALID_VALUE, "No such device mode", json_pack("{s:s}", "DeviceMode", mode)));
    if (device.flashing && !json_is_true(json_object_get(params, "Force")))
        return reply(answer_fault(FAULT_REQUEST_DENIED, "Firmware is being flashed"));
    if (mode) {
        Answer refused = change_refuses_lasting(device, "Another device mode");
        if (refused.code) return reply(std::move(refused));
        device.mode = mode;
        if (!device_save_state(device)) return reply(answer_fault(FAULT_RESOURCES, strerror(errno)));
    }
    reply(answer_result());
    device_begin_reboot(device, ANSWER_MS, "Reboot requested");
}

}  // namespace obxd
