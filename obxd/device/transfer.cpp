#include "device/transfer.hpp"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "device/change.hpp"
#include "device/config.hpp"
#include "device/files.hpp"
#include "device/firmware.hpp"
#include "device/model.hpp"
#include "device/model_events.hpp"
#include "device/params.hpp"
#include "device/upload.hpp"

namespace obxd {

namespace {

std::string last_component(const std::string& url) {
    size_t start = url.find("://");
    std::string rest = start == std::string::npos ? url : url.substr(start + 3);
    size_t slash = rest.rfind('/');
    return slash == std::string::npos ? "" : rest.substr(slash + 1);
}

// The reason without a word of the file, which may be one that who asks must not read: of a configuration the
// path alone, where the model has it.
std::string without_words(Device& device, const std::string& error) {
    size_t colon = error.find(": ");
    if (colon == std::string::npos) return error;
    std::string path = error.substr(0, colon);
    bool known = json_object_size(model_attributes(device.store, path)) > 0;
    return known ? path + ": what is there does not fit" : "The configuration does not fit the model";
}

void install_config(Device& device, const std::string& file, const Reply& reply) {
    std::string error;
    bool loaded = config_load(device, file, true, error);
    unlink(file.c_str());
    if (!loaded) return reply(answer_fault(FAULT_CORRUPTED, without_words(device, error)));
    device_apply(device);
    journal_add(device.journal, "configuration downloaded");
    device_event(device, "ConfigLoaded", nullptr);
    reply(answer_result());
}

void install_file(Device& device, const std::string& file, const std::string& name, const Reply& reply) {
    if (rename(file.c_str(), (device.state.path + "/files/" + name).c_str()) != 0) {
        Answer fault = answer_fault(FAULT_RESOURCES, strerror(errno));
        unlink(file.c_str());
        return reply(std::move(fault));
    }
    journal_add(device.journal, "file %s downloaded", name.c_str());
    device_event(device, "FileDownloaded", json_pack("{s:s}", "Name", name.c_str()));
    reply(answer_result());
}

std::string build_config_text(const Device& device) {
    return std::string("PROGRAM=obxd\nPROGRAM_VERSION=" OBX_VERSION "\nFIRMWARE=") + device.version +
           "\nMODEL=" + device.options.model + "\n";
}

Answer upload_text(Device& device, const std::string& text, const char* name, const json_t* params) {
    std::string detail;
    int code = upload_write(device, params, name, text, detail);
    if (code != 0) return answer_fault(code, detail);
    journal_add(device.journal, "%s uploaded", name);
    return answer_result();
}

}  // namespace

void start_fetch(Device& device, const json_t* params, const Reply& reply, const FetchDone& done) {
    auto fetch = std::make_shared<Fetch>();
    const char* url = text_param(params, "URL");
    const char* md5 = text_param(params, "MD5");
    const json_t* size = json_object_get(params, "FileSize");
    if (!url) return reply(answer_fault(FAULT_INVALID_ARGUMENTS, "\"URL\" is missing"));
    int code = fetch_check_url(url, fetch->detail);
    if (code != 0) return reply(answer_fault(code, fetch->detail));
    fetch->url = url;
    fetch->md5 = md5 ? md5 : "";
    fetch->expected_size = json_is_integer(size) ? json_integer_value(size) : -1;
    fetch->file = device_temp_file(device);
    uint64_t boots = device.boots;
    bool started = loop_start_job(
        device.loop,
        [fetch, check = done.on_thread] {
            fetch_run(*fetch);
            if (fetch->code == 0 && check) check(*fetch);
        },
        [&device, boots, fetch, reply, finish = done.on_loop] {
            if (fetch->code == 0 && boots == device.boots) return finish(fetch->file, reply);
            unlink(fetch->file.c_str());
            reply(answer_fault(fetch->code, fetch->detail));
        });
    if (!started) reply(answer_fault(FAULT_RESOURCES, "Too many transfers at once"));
}

void download_config(Device& device, const json_t* params, const Reply& reply,
                     const std::function<void(Fetch&)>& check) {
    start_fetch(device, params, reply, {check, [&device](const std::string& file, const Reply& answer) {
                                            install_config(device, file, answer);
                                        }});
}

void device_download(Device& device, const json_t* params, const Reply& asked) {
    Answer refused = change_refuses_lasting(device, "A download");
    if (refused.code) return asked(std::move(refused));
    Reply reply = transfer_event(device, "Download", "", params, asked);
    const char* type = text_param(params, "FileType");
    if (type && strcmp(type, "Firmware") == 0) return firmware_download(device, params, reply);
    if (type && strcmp(type, "Config") == 0) return download_config(device, params, reply, nullptr);
    if (!type || strcmp(type, "File") != 0)
        return reply(answer_fault(FAULT_INVALID_ARGUMENTS, "\"FileType\" must be Firmware, Config or File"));
    const char* url = text_param(params, "URL");
    const char* target = text_param(params, "TargetFileName");
    std::string name = target ? target : url ? last_component(url) : "";
    if (name.empty() && !target) name = "download";
    if (!file_name_ok(name))
        return reply(answer_fault(FAULT_INVALID_ARGUMENTS, "\"TargetFileName\" is no file name"));
    start_fetch(device, params, reply,
                {nullptr, [&device, name](const std::string& file, const Reply& answer) {
                     install_file(device, file, name, answer);
                 }});
}

Answer upload_file(Device& device, const std::string& kind, const json_t* params) {
    const char* name = kind == "Config" ? "config.json" : kind == "Log" ? "log.txt" : "buildconfig.txt";
    if (kind != "Config" && kind != "BuildConfig" && kind != "Log")
        return answer_fault(FAULT_INVALID_ARGUMENTS, "\"FileType\" must be Config, BuildConfig or Log");
    std::string text = kind == "Config" ? config_text(device)
                       : kind == "Log"  ? journal_text(device.journal)
                                        : build_config_text(device);
    return upload_text(device, text, name, params);
}

Answer upload_copy(Device& device, const std::string& file, const char* name, const json_t* params) {
    std::string text;
    return read_file(file, text) ? upload_text(device, text, name, params)
                                 : answer_fault(FAULT_UPLOAD, strerror(errno));
}

void device_upload(Device& device, const json_t* params, const Reply& reply) {
    const char* type = text_param(params, "FileType");
    transfer_event(device, "Upload", "", params, reply)(upload_file(device, type ? type : "", params));
}

}  // namespace obxd
