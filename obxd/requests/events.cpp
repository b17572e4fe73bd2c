#include "requests/events.hpp"

#include <string.h>

#include <algorithm>

#include "ox_tr_list.hpp"
#include "ox_tr_names.hpp"
#include "requests/session.hpp"

namespace obxd {

namespace {

json_t* model_event(const Change& change) {
    const char* action = change.kind == Change::ADD ? OX_TR_ACTION_ADD : OX_TR_ACTION_DELETE;
    return json_pack("{s:s, s:s, s:I}", OX_TR_ACTION, action, OX_TR_PATH, change.path.c_str(),
                     OX_TR_INSTANCE_NUMBER, static_cast<json_int_t>(change.instance));
}

// The value as this caller would read it: null when it may not. A new reference.
json_t* value_for(Store& store, const Caller& caller, const std::string& path) {
    JsonRef params(json_pack("{s:[s]}", OX_TR_PARAMETER_NAMES, path.c_str()));
    Answer answer = store.get_values(caller, params);
    const json_t* row = json_array_get(ox_tr_result_list(answer.result), 0);
    json_t* value = answer.code == 0 ? json_incref(json_object_get(row, OX_TR_VALUE)) : nullptr;
    answer_drop(answer);
    return value;
}

// The event as a message; "" when it would be too long for one.
std::string event_text(uint32_t group, json_t* params) {
    JsonRef event(json_pack("{s:s, s:s, s:I}", "jsonrpc", "2.0", "method", "Event", "group",
                            static_cast<json_int_t>(group)));
    if (params) json_object_set(event, "params", params);
    CharsRef dump(json_dumps(event, JSON_COMPACT | JSON_REAL_PRECISION(15)));
    size_t length = dump ? strlen(dump) : 0;
    if (length == 0 || length > MAX_MESSAGE) return "";
    return std::string(dump.get(), length) + "\n";
}

// The clients that take the events of the group.
std::vector<Connection*> members(Server& server, uint32_t group) {
    std::vector<Connection*> found;
    for (auto& entry : server.connections) {
        Connection& c = *entry.second;
        if (c.phase == Connection::OPEN && session_in_group(session_of(c), group)) found.push_back(&c);
    }
    return found;
}

// A client whose user may not read the parameter is not told its value.
void send_value(Requests& requests, const std::string& path) {
    std::vector<std::pair<const Caller*, JsonRef>> known;
    Asker asker = requests.device.asker;
    for (Connection* c : members(requests.server, GROUP_VALUES)) {
        const Caller& caller = session_of(*c).caller;
        auto same = std::find_if(known.begin(), known.end(),
                                 [&caller](const auto& k) { return k.first->user == caller.user; });
        if (same == known.end()) {
            requests.device.asker.caller = &caller;
            known.emplace_back(&caller, JsonRef(value_for(requests.store, caller, path)));
            same = known.end() - 1;
        }
        if (!same->second) continue;
        JsonRef params(json_pack("{s:s, s:O}", OX_TR_PATH, path.c_str(), OX_TR_VALUE, same->second.get()));
        server_push(requests.server, *c, event_text(GROUP_VALUES, params));
    }
    requests.device.asker = asker;
}

}  // namespace

void events_emit(Requests& requests, uint32_t group, json_t* params, uint64_t except) {
    JsonRef owned(params);
    std::string text;
    for (Connection* c : members(requests.server, group)) {
        if (c->id == except) continue;
        if (text.empty() && (text = event_text(group, params)).empty()) return;
        server_push(requests.server, *c, text);
    }
}

void events_change(Requests& requests, const Change& change) {
    if (change.kind == Change::VALUE)
        send_value(requests, change.path);
    else
        events_emit(requests, GROUP_MODEL, model_event(change));
}

}  // namespace obxd
