#include "device/firmware.hpp"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "device/image.hpp"
#include "device/params.hpp"
#include "device/transfer.hpp"
#include "digest.hpp"
#include "owners.hpp"
#include "ox_firmware.hpp"

namespace obxd {

namespace {

constexpr size_t TRANSACTION_ID = 8;  // bytes
constexpr int STEPS = 50;
constexpr int64_t KEEP_MS = int64_t{15} * 60 * 1000;

/// Values of "Status" in the answer of a firmware check.
enum CheckStatus { FLASHING_BEGAN = 0, WAITS_FOR_ORDER = 1 };

void set_progress(Device& device, int status, int progress) {
    device.progress = progress;
    device.upgrade_status = status;
    device.store.set_value("Device.DeviceInfo.UpgradeProgress", json_integer(progress));
    device.store.set_value("Device.DeviceInfo.UpgradeStatus", json_integer(status));
}

void fail(Device& device, const std::string& why) {
    device.flashing = false;
    set_progress(device, UPGRADE_FAILED, device.progress);
    journal_add(device.journal, "flashing failed: %s", why.c_str());
    device_event(device, "UpgradeFailed", json_pack("{s:s}", "Reason", why.c_str()));
    firmware_cancel(device);
}

void finish(Device& device) {
    std::string before = device.version;
    device.version = device.transaction.version;
    if (!device_save_state(device)) {
        device.version = before;
        return fail(device, strerror(errno));
    }
    device.flashing = false;
    set_progress(device, UPGRADE_DONE, 100);
    journal_add(device.journal, "firmware %s flashed", device.version.c_str());
    device_event(device, "UpgradeComplete",
                 json_pack("{s:s, s:s}", "From", before.c_str(), "To", device.version.c_str()));
    firmware_cancel(device);
    device_begin_reboot(device, SHOW_END_MS, "Firmware upgrade");
}

void step(Device& device, uint64_t flash) {
    if (flash != device.flashes || !device.flashing) return;
    int progress = device.progress + 100 / STEPS;
    if (progress > 100) {
        if (device.flash_checked) return finish(device);
    } else {
        set_progress(device, progress < 100 ? UPGRADE_WRITING : UPGRADE_VERIFYING, progress);
    }
    loop_after(device.loop, device.options.flash_ms / STEPS, [&device, flash] { step(device, flash); });
}

// The image is read back while it is written: what was saved may have been changed or lost since.
bool start_flashing(Device& device) {
    auto error = std::make_shared<std::string>();
    uint64_t flash = device.flashes + 1;
    std::string file = device.transaction.file;
    bool started = loop_start_job(
        device.loop,
        [file, error] {
            Image image;
            image_check(file, image, *error);
        },
        [&device, flash, error] {
            if (flash != device.flashes || !device.flashing) return;
            device.flash_checked = error->empty();
            if (!error->empty()) fail(device, *error);
        });
    if (!started) return false;
    device.flashes = flash;
    device.flashing = true;
    device.refused.clear();
    device.flash_checked = false;
    set_progress(device, UPGRADE_WRITING, 0);
    journal_add(device.journal, "flashing %s", device.transaction.version.c_str());
    device_event(device, "UpgradeStarted", json_pack("{s:s}", "To", device.transaction.version.c_str()));
    step(device, flash);
    return true;
}

void answer_check(Device& device, bool before_only, const Reply& reply) {
    const Transaction& t = device.transaction;
    bool same = ox_firmware_version_cmp(device.version.c_str(), t.version.c_str()) == 0;
    // An image of the running version is flashed without an order: the client asks nobody about it, and takes
    // flashing for begun.
    int status = same && !before_only ? FLASHING_BEGAN : WAITS_FOR_ORDER;
    JsonRef result(json_pack("{s:i, s:s, s:s, s:s, s:s}", "Status", status, "CurrentVersion",
                             device.version.c_str(), "NewVersion", t.version.c_str(), "SavedFirmware",
                             t.file.c_str(), "TransactionID", t.id.c_str()));
    if (status == FLASHING_BEGAN && !start_flashing(device))
        return reply(answer_fault(FAULT_RESOURCES, "Too many jobs at once"));
    reply(answer_result(result.release()));
}

void keep_image(Device& device, const Transaction& fresh, const std::string& file, bool before_only,
                const Reply& reply) {
    if (device.flashing) {
        unlink(file.c_str());
        return reply(answer_fault(FAULT_REQUEST_DENIED, "Firmware is being flashed"));
    }
    firmware_cancel(device);
    device.transaction = fresh;
    device.transaction.id = hex_random(TRANSACTION_ID);
    device.transaction.file = device.state.path + "/firmware/" + device.transaction.id + ".img";
    if (rename(file.c_str(), device.transaction.file.c_str()) != 0) {
        Answer fault = answer_fault(FAULT_RESOURCES, strerror(errno));
        unlink(file.c_str());
        device.transaction = Transaction();
        return reply(std::move(fault));
    }
    loop_after(device.loop, KEEP_MS, [&device, id = device.transaction.id] {
        if (device.transaction.id == id && !device.flashing) firmware_cancel(device);
    });
    answer_check(device, before_only, reply);
}

void fetch_image(Device& device, const json_t* params, const Reply& reply, bool before_only) {
    auto fresh = std::make_shared<Transaction>();
    const char* url = text_param(params, "URL");
    const char* md5 = text_param(params, "MD5");
    fresh->url = url ? url : "";
    fresh->md5 = md5 ? md5 : "";
    const Transaction& t = device.transaction;
    // A file that is served once cannot be fetched again: the confirmation works with what the check saved.
    if (!before_only && !t.id.empty() && t.url == fresh->url && t.md5 == fresh->md5)
        return answer_check(device, false, reply);
    start_fetch(device, params, reply,
                {[fresh](Fetch& fetch) {
                     Image image;
                     if (!image_check(fetch.file, image, fetch.detail)) fetch.code = FAULT_CORRUPTED;
                     fresh->version = image.version;
                 },
                 [&device, fresh, before_only](const std::string& file, const Reply& answer) {
                     keep_image(device, *fresh, file, before_only, answer);
                 }});
}

/// Shows a refused order as a failed upgrade: to all, but while another client's image is being flashed only
/// to the client that gave the order.
void refuse_order(Device& device, const Reply& reply, int code, const char* why) {
    if (device.flashing || device.rebooting)
        device.refused.insert(device.asker.client);
    else
        set_progress(device, UPGRADE_FAILED, 0);
    journal_add(device.journal, "flashing refused: %s", why);
    reply(answer_fault(code, why));
}

void order_flashing(Device& device, const json_t* params, const Reply& reply, const char* url) {
    const char* md5 = text_param(params, "MD5");
    if ("file://" + device.transaction.file != url)
        return refuse_order(device, reply, FAULT_INVALID_ARGUMENTS, "\"URL\" is not the saved firmware");
    if (md5 && md5 != device.transaction.md5)
        return refuse_order(device, reply, FAULT_CORRUPTED, "\"MD5\" is not the saved firmware's");
    if (!start_flashing(device)) return refuse_order(device, reply, FAULT_RESOURCES, "Too many jobs at once");
    reply(answer_result());
}

}  // namespace

json_t* firmware_status(Device& device) {
    bool refused = device.refused.contains(device.asker.client);
    return json_integer(refused ? UPGRADE_FAILED : device.upgrade_status);
}

bool firmware_cut_off(Device& device) {
    if (!device.flashing) return false;
    fail(device, "cut off by a reboot");
    return true;
}

void firmware_cancel(Device& device) {
    if (!device.transaction.file.empty()) unlink(device.transaction.file.c_str());
    device.transaction = Transaction();
}

void firmware_download(Device& device, const json_t* params, const Reply& reply) {
    const char* id = text_param(params, "TransactionID");
    const char* url = text_param(params, "URL");
    bool orders = id && url;
    auto refuse = [&](int code, const char* why) {
        if (orders) return refuse_order(device, reply, code, why);
        reply(answer_fault(code, why));
    };
    if (device.flashing || device.rebooting) return refuse(FAULT_REQUEST_DENIED, "Firmware is being flashed");
    if (!id) {
        bool before_only = json_is_true(json_object_get(params, "NeedPreUpdate"));
        return fetch_image(device, params, reply, before_only);
    }
    if (device.transaction.id != id || device.transaction.id.empty())
        return refuse(FAULT_INVALID_ARGUMENTS, "No such transaction");
    if (orders) return order_flashing(device, params, reply, url);
    firmware_cancel(device);
    journal_add(device.journal, "firmware transaction cancelled");
    reply(answer_result());
}

}  // namespace obxd
