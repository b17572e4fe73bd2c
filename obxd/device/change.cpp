#include "device/change.hpp"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "device/files.hpp"
#include "device/params.hpp"
#include "digest.hpp"
#include "owners.hpp"
#include "ox_tr_names.hpp"

namespace obxd {

namespace {

constexpr int64_t MAX_TIMEOUT_S = 3600;
constexpr size_t ID_BYTES = 8;
constexpr size_t MOST_TOLD = 64;  // paths in an event

constexpr const char* OVER = "its time was over";
constexpr const char* CANCELLED = "it was cancelled";
constexpr const char* RESTARTED = "the device started anew";

std::string file_of(const Device& device) {
    return device.state.path + "/change.json";
}

bool is_open(const Device& device) {
    return device.change.state == OpenChange::OPEN;
}

// "A change of admin is open, 42 s left".
std::string open_text(const Device& device) {
    int64_t left = device.change.until - now_ms();
    return "A change of " + device.change.owner + " is open, " +
           std::to_string(left > 0 ? (left + 999) / 1000 : 0) + " s left";
}

// Whether the asker may say what becomes of a change: its owner and administrators may.
bool may_decide(const Device& device) {
    const Caller& caller = *device.asker.caller;
    return caller_rank(caller) >= RANK_ADMIN || (!caller.user.empty() && caller.user == device.change.owner);
}

Answer refuse_other() {
    return answer_fault(FAULT_REQUEST_DENIED, "It is somebody else's change");
}

bool write_down(const Device& device) {
    JsonRef text(
        json_pack("{s:s, s:s}", "Change", device.change.id.c_str(), "Owner", device.change.owner.c_str()));
    CharsRef dump(json_dumps(text, JSON_INDENT(2)));
    return dump.get() && write_file(file_of(device), dump.get());
}

void tell(Device& device, const char* event, json_t* more) {
    JsonRef members(more);
    json_t* params =
        json_pack("{s:s, s:s}", "Change", device.change.id.c_str(), "Owner", device.change.owner.c_str());
    if (members) json_object_update(params, members);
    device_event(device, event, params);
}

void end(Device& device, OpenChange::State state, const char* cause) {
    unlink(file_of(device).c_str());
    device.change.state = state;
    device.change.cause = cause;
}

// What is said of a change that was taken back: why, and what was left as it is.
json_t* outcome(const char* cause, const std::vector<std::string>& left) {
    json_t* members = json_pack("{s:s}", "Cause", cause);
    if (left.empty()) return members;
    json_t* list = json_array();
    for (size_t i = 0; i < left.size() && i < MOST_TOLD; i++)
        json_array_append_new(list, json_string(left[i].c_str()));
    json_object_set_new(members, "Left", list);
    return members;
}

void take_back(Device& device, const char* cause) {
    end(device, OpenChange::TAKEN_BACK, cause);
    std::vector<std::string> left = device.store.undo_all();
    journal_add(device.journal, "change of %s taken back: %s", device.change.owner.c_str(), cause);
    for (const std::string& path : left)
        journal_add(device.journal, "%s: could not be taken back", path.c_str());
    tell(device, "ChangeTakenBack", outcome(cause, left));
}

// What became of the change that a request names, where it is not open any more. `wanted` is what it asks
// for.
Answer answer_ended(const Device& device, OpenChange::State wanted) {
    if (device.change.state == wanted) return answer_result();
    if (device.change.state == OpenChange::CONFIRMED)
        return answer_fault(FAULT_REQUEST_DENIED, "The change was confirmed");
    return answer_fault(FAULT_REQUEST_DENIED,
                        std::string("The change was taken back: ") + device.change.cause);
}

// The change that a request is about, open and the asker's to decide. False, with `refused` the answer, where
// it is not; `wanted` is the end that is asked for.
bool find_change(const Device& device, const json_t* params, OpenChange::State wanted, Answer& refused) {
    const json_t* named = json_object_get(params, OX_TR_CHANGE);
    const char* id = json_string_value(named);
    if (named && !json_is_null(named) && !id)
        refused = answer_fault(FAULT_INVALID_ARGUMENTS, "\"Change\" must be a text");
    else if (id && (device.change.state == OpenChange::NONE || device.change.id != id))
        refused = answer_fault(FAULT_INVALID_ARGUMENTS, "There is no such change");
    else if (!id && !is_open(device))
        refused = answer_fault(FAULT_INVALID_ARGUMENTS, "No change is open");
    else if (!may_decide(device))
        refused = refuse_other();
    else if (!is_open(device))
        refused = answer_ended(device, wanted);
    else
        return true;
    return false;
}

}  // namespace

void device_begin_change(Device& device, const json_t* params, const Reply& reply) {
    const json_t* timeout = json_object_get(params, OX_TR_TIMEOUT);
    int64_t seconds = json_integer_value(timeout);
    if (!json_is_integer(timeout) || seconds < 1 || seconds > MAX_TIMEOUT_S)
        return reply(answer_fault(FAULT_INVALID_ARGUMENTS, "\"Timeout\" must be 1 to 3600"));
    if (is_open(device)) return reply(answer_fault(FAULT_RESOURCES, open_text(device)));
    std::string id = hex_random(ID_BYTES);
    OpenChange before = device.change;
    device.change = {OpenChange::OPEN,          id, device.asker.caller->user, device.asker.client,
                     now_ms() + seconds * 1000, ""};
    if (id.empty() || !write_down(device)) {
        device.change = before;
        return reply(answer_fault(FAULT_RESOURCES, strerror(errno)));
    }
    device.store.undo_begin();
    loop_after(device.loop, seconds * 1000, [&device, id] {
        if (is_open(device) && device.change.id == id) take_back(device, OVER);
    });
    journal_add(device.journal, "change of %s begun, %d s", device.change.owner.c_str(),
                static_cast<int>(seconds));
    tell(device, "ChangeBegun", json_pack("{s:I}", OX_TR_TIMEOUT, static_cast<json_int_t>(seconds)));
    reply(answer_result(json_pack("{s:s}", OX_TR_CHANGE, id.c_str())));
}

void device_confirm_change(Device& device, const json_t* params, const Reply& reply) {
    Answer refused;
    if (!find_change(device, params, OpenChange::CONFIRMED, refused)) return reply(std::move(refused));
    end(device, OpenChange::CONFIRMED, "");
    device.store.undo_forget();
    journal_add(device.journal, "change of %s confirmed", device.change.owner.c_str());
    tell(device, "ChangeConfirmed", nullptr);
    reply(answer_result());
}

void device_cancel_change(Device& device, const json_t* params, const Reply& reply) {
    Answer refused;
    if (!find_change(device, params, OpenChange::TAKEN_BACK, refused)) return reply(std::move(refused));
    take_back(device, CANCELLED);
    reply(answer_result());
}

Answer change_enter(Device& device, const json_t* named) {
    device.asker.in_change = is_open(device) && device.asker.client == device.change.client;
    if (named && !json_is_null(named)) {
        const char* id = json_string_value(named);
        if (!id) return answer_fault(FAULT_INVALID_ARGUMENTS, "\"Change\" must be a text");
        if (device.change.state == OpenChange::NONE || device.change.id != id)
            return answer_fault(FAULT_REQUEST_DENIED, "There is no such change");
        if (!device.asker.in_change && !may_decide(device)) return refuse_other();
        if (!is_open(device)) return answer_ended(device, OpenChange::NONE);
        device.asker.in_change = true;
    }
    device.store.undo_mine(device.asker.in_change);
    return {};
}

void change_leave(Device& device) {
    device.store.undo_mine(false);
}

Answer change_refuses_lasting(const Device& device, const char* what) {
    if (!device.asker.in_change) return {};
    return answer_fault(FAULT_REQUEST_DENIED,
                        std::string(what) + " cannot be taken back: confirm or cancel the open change first");
}

Answer change_refuses_saving(const Device& device) {
    if (!is_open(device)) return {};
    return answer_fault(FAULT_REQUEST_DENIED, open_text(device));
}

void change_recover(Device& device) {
    std::string path = file_of(device);
    if (access(path.c_str(), F_OK) != 0) return;
    JsonRef file(json_load_file(path.c_str(), 0, nullptr));
    const char* id = text_param(file, "Change");
    const char* owner = text_param(file, "Owner");
    if (id && owner) {
        device.change.id = id;
        device.change.owner = owner;
    }
    end(device, id && owner ? OpenChange::TAKEN_BACK : OpenChange::NONE, RESTARTED);
    journal_add(device.journal, "change of %s taken back: %s", owner ? owner : "somebody", RESTARTED);
}

void change_lose(Device& device) {
    if (!is_open(device)) return;
    end(device, OpenChange::TAKEN_BACK, RESTARTED);
    device.store.undo_forget();
    journal_add(device.journal, "change of %s taken back: %s", device.change.owner.c_str(), RESTARTED);
    tell(device, "ChangeTakenBack", outcome(RESTARTED, {}));
}

}  // namespace obxd
