#include "commands/firmware.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <strings.h>
#include <unistd.h>

#include "commands/device.hpp"
#include "commands/shell_editor.hpp"
#include "ox_confapi.hpp"
#include "ox_echo.hpp"
#include "ox_editor.hpp"
#include "ox_firmware.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_out_buffer.hpp"
#include "ox_progress.hpp"
#include "ox_raii.hpp"
#include "ox_rl.hpp"
#include "ox_str.hpp"
#include "ox_tr.hpp"
#include "ox_wait.hpp"
#include "session/request.hpp"

namespace {

constexpr int POLL_MS = 100;
constexpr int PATIENCE_POLLS = 30;  // after a refused order: how often a device that flashes nothing is asked
constexpr long long STATUS_DONE = -1;

enum Decision { FLASH_NOW, FLASH_ORDER, CANCEL };

/// Executes a Download request with these params. The message is the caller's.
ox_jrpcmsg* download_request(json_t* params) {
    MsgRef message(request_new("Download", params));
    request_exec(message, -1);
    return message.release();
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
    static const char question[] = "Reset config[(N)o/(y)es/(c)ancel] ";
    // The editor shows it to terminals only, where Enter ends its row.
    bool typed = isatty(STDIN_FILENO);
    if (!typed) fputs(question, stdout);
    CharsRef answer(ox_rl(question, -1));
    if (!typed) putchar('\n');
    // After a hang-up nobody is there to answer, so nothing is flashed. The end of a pipe is the default
    // answer.
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

/// Gives the order to flash. Its answer may be lost, so the outcome is read from the progress. The message is
/// the caller's.
ox_jrpcmsg* order_flash(json_t* params, json_t* result) {
    const char* saved = json_string_value(json_object_get(result, "SavedFirmware"));
    CharsRef url(ox_str_printf_new("file://%s", saved ? saved : ""));
    json_object_set_new(params, "URL", json_string(url));
    json_object_set(params, "TransactionID", json_object_get(result, "TransactionID"));
    return download_request(params);
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
    json_t* list = ox_tr_result_list(ox_jrpcmsg_get_result_json(message));
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

/// How the flashing ended. A device that is gone has most often gone down to start the new firmware.
enum Ending { FLASHED, FAILED, RESTARTED, NOT_BEGUN, STUCK };

/// How long the progress may stand still.
long long stuck_ms() {
    return 10LL * ox_jrpcapi_patience_ms();
}

/// Draws the progress until the end. `refused`: the flash order was not answered by a result.
Ending draw_flashing(bool refused) {
    json_t* names = json_pack("[ss]", "Device.DeviceInfo.UpgradeProgress", "Device.DeviceInfo.UpgradeStatus");
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_values_new(names));
    long long previous = 0;
    int rests = 0;
    bool flashing = false;
    Progress now = {0, 0};
    Progress seen = {-1, 0};
    long long moved = 0;
    while (read_progress(message, &now)) {
        if (now.percent != seen.percent || now.status != seen.status) moved = ox_wait_now_ms();
        seen = now;
        if (ox_wait_now_ms() - moved >= stuck_ms()) return STUCK;
        if (now.status < 0) return now.status == STATUS_DONE ? FLASHED : FAILED;
        if (flashing && now.status == 0) return RESTARTED;
        flashing = now.status > 0;
        if (refused && !flashing && now.percent == 0 && ++rests > PATIENCE_POLLS) return NOT_BEGUN;
        int percent = now.percent < 0 ? 0 : now.percent > 100 ? 100 : static_cast<int>(now.percent);
        ox_rl_draw_progressbar(percent, "Flashing:");
        if (now.percent / 2 != previous / 2) {
            putchar(now.percent / 10 != previous / 10 ? '@' : '*');
            ox_out_push();
        }
        previous = now.percent;
        ox_wait_sleep_ms(POLL_MS);
    }
    return FLASHED;
}

Ending follow_flashing(bool refused) {
    hide_typing();
    fputs("Flashing: ", stdout);
    ox_out_push();
    Ending ending = draw_flashing(refused);
    if (ending == FLASHED || ending == RESTARTED) ox_rl_draw_progressbar(100, "Flashing:");
    putchar('\n');
    ox_out_push();
    ox_rl_echo_on(STDIN_FILENO);
    return ending;
}

/// False where the device that is back runs something else.
bool runs_version(const char* version) {
    ox_confapi_ignore_next_error_exec(1);
    JsonRef running(ox_confapi_getconfig("Device.DeviceInfo.SoftwareVersion"));
    return !running || !version || ox_firmware_version_cmp(json_string_value(running), version) == 0;
}

/// Prints the outcome of the transaction; 0 or 1, the program's exit status.
int report_ending(Ending ending, const ox_jrpcmsg* confirmation, const ox_jrpcmsg* order) {
    json_t* result = ox_jrpcmsg_get_result_json(confirmation);
    const char* version = json_string_value(json_object_get(result, "NewVersion"));
    if (ending == RESTARTED && !runs_version(version)) ending = FAILED;
    if (ending == STUCK) {
        printf("The flashing has not moved for %lld s: what became of it is not known.\n", stuck_ms() / 1000);
    } else if (ending == NOT_BEGUN) {
        response_report(order);
    } else if (ending == FAILED) {
        MsgRef failure(ox_jrpcmsg_create_new("Download", nullptr));
        ox_jrpcmsg_set_error(failure, 9010, "File transfer failure", "the firmware was not flashed");
        response_report(failure);
    } else {
        response_report(confirmation);
    }
    ox_out_push();
    return ending == NOT_BEGUN || ending == FAILED || ending == STUCK ? 1 : 0;
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
    MsgRef order;
    if (json_integer_value(json_object_get(result, "Status")) != 0) {
        const char* current = json_string_value(json_object_get(result, "CurrentVersion"));
        const char* next = json_string_value(json_object_get(result, "NewVersion"));
        Decision decision = decide(current, next);
        if (decision == CANCEL) {
            cancel(params, result);
            return 0;
        }
        if (decision == FLASH_ORDER) order.reset(order_flash(params, result));
    }
    Ending ending = follow_flashing(order && !is_result(order));
    int status = report_ending(ending, message, order);
    editor_shell_off();  // the shell, if this is one, keeps its history
    exit(status);
}
