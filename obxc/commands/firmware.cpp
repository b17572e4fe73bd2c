#include "commands/firmware.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <strings.h>
#include <unistd.h>

#include "commands/commands.hpp"
#include "ox_firmware.hpp"
#include "ox_rl.hpp"
#include "ox_tr.hpp"
#include "ox_wait.hpp"
#include "session/editor.hpp"
#include "session/request.hpp"

namespace {

enum Decision { FLASH_NOW, FLASH_ORDER, CANCEL };

/// Executes a Download request with these params. The message is the caller's.
ox_jrpcmsg* download_request(json_t* params) {
    ox_jrpcmsg* message = request_new("Download", params);
    request_exec(message, -1);
    return message;
}

bool is_result(const ox_jrpcmsg* message) {
    return ox_jrpcmsg_typeof(message) == OX_JRPCMSG_RESULT;
}

void reset_config() {
    puts("Resetting config...");
    JsonRef no_words(json_array());
    process_reset("reset", no_words);
}

Decision ask_about_config() {
    CharsRef answer(ox_rl("Reset config[(N)o/(y)es/(c)ancel] ", -1));
    // Who has gone has not answered.
    if (!answer && ox_rl_hung_up()) return CANCEL;
    if (answer && strcasecmp(answer, "c") == 0) return CANCEL;
    if (answer && strcasecmp(answer, "y") == 0) reset_config();
    return FLASH_ORDER;
}

/// Tells what kind of change it is, and asks or resets where the versions are too far apart for the
/// configuration.
Decision decide(const char* current, const char* next) {
    static const char* const kinds[] = {"Build", "Minor", "Major"};
    int difference = ox_firmware_version_cmp(current, next);
    if (difference == 0) return FLASH_NOW;
    if (abs(difference) == OX_FIRMWARE_FOREIGN) {
        reset_config();
        return FLASH_ORDER;
    }
    if (abs(difference) > 3) return FLASH_ORDER;
    printf("%s %s...\n", kinds[abs(difference) - 1], difference > 0 ? "upgrade" : "downgrade");
    return abs(difference) == 3 ? ask_about_config() : FLASH_ORDER;
}

void cancel(json_t* params, json_t* result) {
    json_object_clear(params);
    json_object_set_new(params, "FileType", json_string("Firmware"));
    json_object_set(params, "TransactionID", json_object_get(result, "TransactionID"));
    MsgRef message(download_request(params));
}

void order_flash(json_t* params, json_t* result) {
    const char* saved = json_string_value(json_object_get(result, "SavedFirmware"));
    CharsRef url(ox_str_printf_new("file://%s", saved ? saved : ""));
    json_object_set_new(params, "URL", json_string(url));
    json_object_set(params, "TransactionID", json_object_get(result, "TransactionID"));
    MsgRef message(download_request(params));
}

struct Progress {
    long long percent;
    long long status;
};

/// False when the daemon does not answer with values any more.
bool read_progress(ox_jrpcmsg* message, Progress* progress) {
    ox_jrpcmsg_set_result_new(message, nullptr);
    request_exec(message, 1000);
    if (!is_result(message)) return false;
    json_t* list = json_object_get(ox_jrpcmsg_get_result_json(message), "ParameterList");
    JsonRef values(ox_tr_namevalues_to_config(list, "Device.DeviceInfo."));
    progress->percent = json_integer_value(json_object_get(values, "UpgradeProgress"));
    progress->status = json_integer_value(json_object_get(values, "UpgradeStatus"));
    return true;
}

/// What is typed meanwhile would break the bar's row. It waits for whoever reads the terminal next. From the
/// background nobody may change the terminal.
void hide_typing() {
    if (tcgetpgrp(STDIN_FILENO) == getpgrp()) ox_rl_echo_off(STDIN_FILENO);
}

/// Shows the progress until the device reports the end, or is gone.
void follow_flashing() {
    hide_typing();
    json_t* names = json_pack("[ss]", "Device.DeviceInfo.UpgradeProgress", "Device.DeviceInfo.UpgradeStatus");
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_values_new(names));
    fputs("Flashing: ", stdout);
    fflush(stdout);
    long long previous = 0;
    Progress now = {0, 0};
    while (read_progress(message, &now) && now.status >= 0) {
        int percent = now.percent < 0 ? 0 : now.percent > 100 ? 100 : static_cast<int>(now.percent);
        ox_rl_draw_progressbar(percent, "Flashing:");
        if (now.percent / 2 != previous / 2) {
            putchar(now.percent / 10 != previous / 10 ? '@' : '*');
            fflush(stdout);
        }
        previous = now.percent;
        ox_wait_sleep_ms(100);
    }
    ox_rl_draw_progressbar(100, "Flashing:");
    putchar('\n');
    fflush(stdout);
    ox_rl_echo_on(STDIN_FILENO);
}

}  // namespace

int firmware_transaction(json_t* params) {
    json_object_set_new(params, "NeedPreUpdate", json_true());
    MsgRef message(download_request(params));
    if (!is_result(message)) {
        response_report(message);
        return -1;
    }
    json_object_set_new(params, "NeedPreUpdate", json_false());
    message.reset(download_request(params));
    if (!is_result(message)) {
        response_report(message);
        return -1;
    }
    json_t* result = ox_jrpcmsg_get_result_json(message);
    if (json_integer_value(json_object_get(result, "Status")) != 0) {
        const char* current = json_string_value(json_object_get(result, "CurrentVersion"));
        const char* next = json_string_value(json_object_get(result, "NewVersion"));
        Decision decision = decide(current, next);
        if (decision == CANCEL) {
            cancel(params, result);
            return 0;
        }
        if (decision == FLASH_ORDER) order_flash(params, result);
    }
    follow_flashing();
    response_report(message);
    fflush(stdout);
    editor_shell_off();  // the shell, if this is one, keeps its history
    exit(0);
}
