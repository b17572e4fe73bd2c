#include "device/call.hpp"

#include "device/params.hpp"
#include "ox_tr_list.hpp"
#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"

namespace obxd {

namespace {

json_t* full_names(const Call& call, const json_t* outputs) {
    json_t* list = json_array();
    const char* name = nullptr;
    json_t* value = nullptr;
    json_object_foreach(const_cast<json_t*>(outputs), name, value) {
        std::string full = call.path + "." + name;
        json_array_append_new(list, ox_tr_value_element_new(full.c_str(), json_incref(value)));
    }
    return list;
}

}  // namespace

void call_began(Call& call) {
    if (call.answered) return;
    call.answered = true;
    call.reply(answer_result(json_pack("{s:[]}", OX_TR_PARAMETER_LIST)));
}

void call_finish(const CallPtr& call, json_t* outputs) {
    JsonRef owned(outputs);
    JsonRef list(full_names(*call, outputs));
    if (!call->async) {
        call->answered = true;
        return call->reply(answer_result(json_pack("{s:O}", OX_TR_PARAMETER_LIST, list.get())));
    }
    if (call->waits && !call->answered) {
        call->answered = true;
        call->reply(answer_result(json_pack("{s:O}", OX_TR_PARAMETER_LIST, list.get())));
    }
    call_began(*call);
    if (call->boots != call->device.boots) return;
    device_event(call->device, "OperationComplete",
                 json_pack("{s:s, s:O}", OX_TR_PATH, call->path.c_str(), OX_TR_PARAMETER_LIST, list.get()));
}

void call_fail(const CallPtr& call, int code, const std::string& detail) {
    if (!call->answered) {
        call->answered = true;
        call->reply(answer_fault(code, detail));
        if (!call->waits) return;
    }
    if (call->boots != call->device.boots) return;
    device_event(call->device, "OperationComplete",
                 json_pack("{s:s, s:{s:i, s:s, s:s}}", OX_TR_PATH, call->path.c_str(), "Error", "code", code,
                           "message", code_text(code), "Detail", detail.c_str()));
}

void call_job(const CallPtr& call, std::function<void()> work, std::function<void()> done) {
    if (!loop_start_job(call->device.loop, std::move(work), std::move(done)))
        call_fail(call, FAULT_RESOURCES, "Too many jobs at once");
}

std::string call_object(const CallPtr& call) {
    return call->path.substr(0, ox_tr_path_parent(call->path));
}

const char* call_text(const CallPtr& call, const char* name, const char* otherwise) {
    const char* text = text_param(call->inputs, name);
    return text ? text : otherwise;
}

int64_t call_number(const CallPtr& call, const char* name, int64_t otherwise) {
    const json_t* value = json_object_get(call->inputs, name);
    return json_is_integer(value) ? json_integer_value(value) : otherwise;
}

}  // namespace obxd
