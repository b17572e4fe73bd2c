#include "device/config.hpp"

#include <ctype.h>
#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <vector>

#include "device/change.hpp"
#include "device/files.hpp"
#include "device/params.hpp"
#include "device/restore_points.hpp"
#include "json_error.hpp"
#include "owners.hpp"

namespace obxd {

namespace {

constexpr const char* FORMAT = "obxd-config-1";
constexpr size_t MAX_NAME = 64;

bool restore_point_ok(const char* name) {
    if (!*name || *name == '.' || strlen(name) > MAX_NAME) return false;
    for (const char* c = name; *c; c++) {
        if (!isalnum(static_cast<unsigned char>(*c)) && !strchr("._-", *c)) return false;
    }
    return true;
}

// Whether a configuration holds the device's mode: it does not where the model has the mode read-only.
bool names_mode(const json_t* config) {
    const json_t* info = json_object_get(json_object_get(config, "Device"), "DeviceInfo");
    return json_object_get(info, "DeviceMode") != nullptr;
}

}  // namespace

std::string config_path(const Device& device) {
    return device.state.path + "/config.json";
}

std::string config_text(Device& device) {
    JsonRef root(json_pack("{s:s, s:s, s:o}", "format", FORMAT, "firmware", device.version.c_str(), "config",
                           device.store.snapshot()));
    CharsRef text(json_dumps(root, JSON_INDENT(2) | JSON_REAL_PRECISION(15)));
    return text.get() ? std::string(text.get()) + "\n" : "";
}

bool config_load(Device& device, const std::string& file, bool adopt_mode, std::string& error) {
    json_error_t where;
    JsonRef root(json_load_file(file.c_str(), 0, &where));
    const char* format = text_param(root, "format");
    const json_t* config = json_object_get(root, "config");
    if (!format || strcmp(format, FORMAT) != 0 || !json_is_object(config)) {
        error = root ? "No configuration file" : json_error_text(where);
        return false;
    }
    if (!device.store.restore(config, error)) return false;
    if (adopt_mode && names_mode(config)) device.mode.clear();
    return true;
}

void device_save_config(Device& device, const json_t* params, const Reply& reply) {
    const json_t* given = json_object_get(params, "RestorePointName");
    const char* name = json_string_value(given);
    if (given && !json_is_null(given) && (!name || !restore_point_ok(name)))
        return reply(answer_fault(FAULT_INVALID_ARGUMENTS,
                                  "A restore point's name is 1 to 64 letters, digits, \".\", \"_\", \"-\""));
    if (name && !restore_point_name_free(device, name))
        return reply(answer_fault(FAULT_INVALID_ARGUMENTS,
                                  std::string("There is another configuration file named ") + name));
    Answer refused = change_refuses_saving(device);
    if (refused.code) return reply(std::move(refused));
    std::string text = config_text(device);
    bool saved = !text.empty();
    if (saved && name) saved = write_file(restore_point_file(device, name), text);
    if (saved) saved = write_file(config_path(device), text);
    JsonRef config(device.store.snapshot());
    if (names_mode(config)) device.mode.clear();
    if (saved) saved = device_save_state(device);
    if (!saved) return reply(answer_fault(FAULT_RESOURCES, strerror(errno)));
    journal_add(device.journal, "configuration saved%s%s", name ? " as " : "", name ? name : "");
    if (name) restore_points_update(device);
    device_event(device, "ConfigSaved", name ? json_pack("{s:s}", "RestorePointName", name) : nullptr);
    reply(answer_result());
}

bool device_reset(Device& device, bool clean_all, const char* mode) {
    std::vector<std::string> keep;
    if (!clean_all) keep.emplace_back("Device.Users.");
    device.store.reset_defaults(keep);
    unlink(config_path(device).c_str());
    if (clean_all) {
        empty_directory(device.state.path + "/restore");
        empty_directory(device.state.path + "/files");
    }
    device.mode = mode ? mode : "";
    device_apply(device);
    journal_add(device.journal, "factory reset%s", clean_all ? ", everything" : "");
    device_event(device, "FactoryReset", json_pack("{s:b}", "CleanAll", clean_all));
    return device_save_state(device);
}

void device_factory_reset(Device& device, const json_t* params, const Reply& reply) {
    const char* mode = text_param(params, "DeviceMode");
    if (mode && !device_mode_allowed(device, mode))
        return reply(
            answer_fault(FAULT_INVALID_VALUE, "No such device mode", json_pack("{s:s}", "DeviceMode", mode)));
    if (device.flashing) return reply(answer_fault(FAULT_REQUEST_DENIED, "Firmware is being flashed"));
    Answer refused = change_refuses_lasting(device, "A factory reset");
    if (refused.code) return reply(std::move(refused));
    bool clean_all = json_is_true(json_object_get(params, "CleanAll"));
    if (!device_reset(device, clean_all, mode)) return reply(answer_fault(FAULT_RESOURCES, strerror(errno)));
    reply(answer_result());
}

}  // namespace obxd
