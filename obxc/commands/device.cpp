#include "commands/device.hpp"

#include <stdio.h>
#include <string.h>

#include "complete/values.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_log.hpp"
#include "ox_raii.hpp"
#include "ox_string.hpp"
#include "session/request.hpp"

namespace {

constexpr const char* DEVICE_MODE = "Device.DeviceInfo.DeviceMode";

/// The text of an argument word. A word that is no string is a programming error.
const char* word_text(json_t* word, int line, const char* function) {
    const char* arg = json_string_value(word);
    __ox_log_assert(arg != nullptr, "arg != NULL", "obxc/commands", line, function,
                    "args must be an array of strings");
    return arg;
}

int reboot_syntax(const char* name) {
    printf("syntax: %s [-f] [<DeviceMode>]\n", name);
    return -1;
}

}  // namespace

int process_save(const char*, json_t* args) {
    json_t* params = json_pack("{s: O}", "RestorePointName", json_array_get(args, 0));
    MsgRef message(ox_jrpcmsg_create_new("SaveConfig", params));
    request_exec(message, -1);
    response_report(message);
    return 0;
}

int process_reset(const char* name, json_t* args) {
    if (json_array_size(args) >= 3) {
        printf("syntax: %s <DeviceMode> [all]\n", name);
        return -1;
    }
    json_t* params = json_object();
    size_t index = 0;
    json_t* word = nullptr;
    json_array_foreach(args, index, word) {
        if (strcmp(word_text(word, 1644, "process_reset"), "all") == 0) {
            json_object_set_new_nocheck(params, "CleanAll", json_true());
        } else if (!json_object_get(params, "DeviceMode")) {
            json_object_set_new_nocheck(params, "DeviceMode", json_incref(word));
        }
    }
    MsgRef message(ox_jrpcmsg_create_new("FactoryReset", params));
    request_exec(message, -1);
    response_report(message);
    return 0;
}

int process_reboot(const char* name, json_t* args) {
    JsonRef params(json_object());
    MsgRef message(request_new("Reboot", params));
    if (json_array_size(args) >= 3) return reboot_syntax(name);
    size_t index = 0;
    json_t* word = nullptr;
    json_array_foreach(args, index, word) {
        if (strcmp(word_text(word, 1679, "process_reboot"), "-f") == 0) {
            json_object_set_new_nocheck(params, "Force", json_true());
        } else if (!json_object_get(params, "DeviceMode")) {
            json_object_set_new_nocheck(params, "DeviceMode", json_incref(word));
        } else {
            return reboot_syntax(name);
        }
    }
    request_exec(message, -1);
    response_report(message);
    if (ox_jrpcmsg_typeof(message) != OX_JRPCMSG_RESULT) return reboot_syntax(name);
    return 0;
}

namespace {

void offer_modes(const TypedLine& line, const Offer& /*offer*/) {
    JsonRef modes(parameter_enumeration(DEVICE_MODE));
    size_t index;
    json_t* mode;
    json_array_foreach(modes.get(), index, mode) {
        size_t length = json_string_length(mode);
        if (length > 0) offer_text(line, json_string_value(mode), length);
    }
    candidates_sort(line.candidates, OX_SORT_ASCENDING);
}

/// "-f" and one mode.
void offer_reboot(const TypedLine& line, const Offer& offer) {
    if (!is_typed(line, "-f")) offer_text(line, "-f", 2);
    JsonRef modes(parameter_enumeration(DEVICE_MODE));
    size_t index;
    json_t* mode;
    json_array_foreach(modes.get(), index, mode) {
        if (json_string_length(mode) > 0 && is_typed(line, json_string_value(mode))) return;
    }
    offer_modes(line, offer);
}

}  // namespace

const Offer reboot_offers[] = {{1, LAST_WORD, offer_reboot, 0, nullptr}, {}};
const Offer reset_offers[] = {{1, 1, offer_modes, 0, nullptr}, {}};
