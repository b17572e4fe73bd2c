#include <algorithm>

#include "answers.hpp"
#include "net/server.hpp"

namespace obxd {

namespace {

json_t* model_event(const Change& change) {
    const char* action = change.kind == Change::ADD ? "Add" : "Delete";
    return json_pack("{s:s, s:s, s:I}", "Action", action, "Path", change.path.c_str(), "InstanceNumber",
                     static_cast<json_int_t>(change.instance));
}

// The value as this caller would read it: null when it may not. A new reference.
json_t* value_for(Store& store, const Caller& caller, const std::string& path) {
    JsonRef params(json_pack("{s:[s]}", "ParameterNames", path.c_str()));
    Answer answer = store.get_values(caller, params);
    const json_t* row = json_array_get(json_object_get(answer.result, "ParameterList"), 0);
    json_t* value = answer.code == 0 ? json_incref(json_object_get(row, "Value")) : nullptr;
    answer_drop(answer);
    return value;
}

void send_value(Server& server, const std::string& path) {
    bool wanted = std::any_of(server.connections.begin(), server.connections.end(), [](const auto& entry) {
        return connection_in_group(*entry.second, GROUP_VALUES);
    });
    if (!wanted) return;
    // Who may not read the parameter does not learn its value here either.
    struct Known {
        const Caller* caller;
        JsonRef value;
    };
    std::vector<Known> known;
    const Caller* acting = server.acting;
    for (auto& entry : server.connections) {
        Connection& c = *entry.second;
        if (c.phase != Connection::OPEN || !connection_in_group(c, GROUP_VALUES)) continue;
        auto same = std::find_if(known.begin(), known.end(),
                                 [&c](const Known& k) { return k.caller->user == c.caller.user; });
        if (same == known.end()) {
            server.acting = &c.caller;
            known.push_back({&c.caller, JsonRef(value_for(*server.store, c.caller, path))});
            same = known.end() - 1;
        }
        if (!same->value) continue;
        json_t* params = json_pack("{s:s, s:O}", "Path", path.c_str(), "Value", same->value.get());
        server_send_event(server, c, GROUP_VALUES, params);
    }
    server.acting = acting;
}

}  // namespace

void watch_store(Server& server) {
    server.store->set_listener([&server](const Change& change) {
        if (change.kind == Change::VALUE)
            send_value(server, change.path);
        else
            server_emit(server, GROUP_MODEL, model_event(change));
    });
}

}  // namespace obxd
