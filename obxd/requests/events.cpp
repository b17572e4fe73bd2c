#include "requests/events.hpp"

#include <algorithm>

#include "bounds.hpp"
#include "json_text.hpp"
#include "ox_tr_names.hpp"
#include "requests/session.hpp"

namespace obxd {

namespace {

json_t* model_event(const Change& change) {
    const char* action = change.kind == Change::ADD ? OX_TR_ACTION_ADD : OX_TR_ACTION_DELETE;
    return json_pack("{s:s, s:s, s:I}", OX_TR_ACTION, action, OX_TR_PATH, change.path.c_str(),
                     OX_TR_INSTANCE_NUMBER, static_cast<json_int_t>(change.instance));
}

using EventText = std::shared_ptr<const Text>;

// The event as a message, which all who get it share; null when it would be too long for one.
EventText event_text(Server& server, uint32_t group, const json_t* params) {
    JsonRef event(json_pack("{s:s, s:s, s:I}", "jsonrpc", "2.0", "method", "Event", "group",
                            static_cast<json_int_t>(group)));
    if (params) json_object_set(event, "params", const_cast<json_t*>(params));
    Text text;
    if (!json_put(text, event) || text.size() > MAX_MESSAGE) return nullptr;
    text.append('\n');
    return server_shared_text(server, std::move(text));
}

// That a value has changed, as this caller is told it: null when it may not read it.
EventText value_text(Requests& requests, const Caller& caller, const std::string& path) {
    JsonRef value(requests.store.shown(caller, path));
    if (!value) return nullptr;
    JsonRef params(json_pack("{s:s, s:O}", OX_TR_PATH, path.c_str(), OX_TR_VALUE, value.get()));
    return event_text(requests.server, GROUP_VALUES, params);
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
    std::vector<std::pair<const Caller*, EventText>> known;
    Asker asker = requests.device.asker;
    for (Connection* c : members(requests.server, GROUP_VALUES)) {
        const Caller& caller = session_of(*c).caller;
        auto same = std::find_if(known.begin(), known.end(),
                                 [&caller](const auto& k) { return k.first->user == caller.user; });
        if (same == known.end()) {
            requests.device.asker.caller = &caller;
            known.emplace_back(&caller, value_text(requests, caller, path));
            same = known.end() - 1;
        }
        if (same->second && !server_push(requests.server, *c, same->second))
            server_close(requests.server, *c);
    }
    requests.device.asker = asker;
}

// What cannot be sent now is owed to the listener, and so is all that comes behind it.
void send_change(Server& server, Connection& c, const Change& change, const EventText& text) {
    if (!c.owed && server_push(server, c, text)) return;
    c.owed = true;
    if (!missed_note(session_of(c).missed, change)) server_close(server, c);
}

void send_change_to_all(Server& server, const Change& change) {
    EventText text;
    for (Connection* c : members(server, GROUP_MODEL)) {
        if (!text) text = event_text(server, GROUP_MODEL, JsonRef(model_event(change)));
        send_change(server, *c, change, text);
    }
}

}  // namespace

void events_emit(Requests& requests, uint32_t group, json_t* params, uint64_t except) {
    JsonRef owned(params);
    EventText text;
    for (Connection* c : members(requests.server, group)) {
        if (c->id == except) continue;
        if (!text && !(text = event_text(requests.server, group, params))) return;
        if (server_push(requests.server, *c, text)) continue;
        if (group != GROUP_MODEL) server_close(requests.server, *c);
    }
}

void events_owed(Requests& requests, Connection& c) {
    Session& session = session_of(c);
    c.owed = false;
    for (const Change& change : missed_take(session.missed)) {
        if (session_in_group(session, GROUP_MODEL))
            send_change(requests.server, c, change,
                        event_text(requests.server, GROUP_MODEL, JsonRef(model_event(change))));
    }
}

void events_change(Requests& requests, const Change& change) {
    if (change.kind == Change::VALUE)
        send_value(requests, change.path);
    else
        send_change_to_all(requests.server, change);
}

}  // namespace obxd
