// The daemon as a client meets it, without its sockets: each request gets its one answer, and whatever was
// asked, the values fit the model and can be saved and restored.
//
// Time does not pass: what the device does within a second happens as soon as nothing else is left to do, the
// rest (a change that is taken back) in the end.
#include <stdio.h>

#include <algorithm>
#include <vector>

#include "fuzz.hpp"
#include "requests/dispatch.hpp"
#include "requests/requests.hpp"
#include "requests/session.hpp"
#include "test_model.hpp"
#include "users/hash.hpp"

namespace obxd {
namespace {

constexpr int MOST_STEPS = 100;  // that a device may take after a request
constexpr int64_t SOON_MS = 900;

Users users_made() {
    Users users;
    users.list = {{"s", "system", true, "", {token_hash("s")}},
                  {"a", "admin", false, "", {token_hash("a")}},
                  {"u", "user", false, "", {token_hash("u")}}};
    return users;
}

struct Daemon {
    Loop loop;
    Server server{loop, {}, nullptr};
    Users users = users_made();
    std::string error;
    std::unique_ptr<Store> store = Store::load(file_of(TEST_MODEL), error);
    Device device{loop, *store, users, {"model", state_directory(), 0, 0, {}}};
    Requests requests{server, *store, users, device};
    bool changed = true;  ///< something of the store or the device, since it was made anew
    JsonRef anew;         ///< the configuration that it was made with

    Daemon() {
        REQUIRE(store && loop_open(loop) == 0 && device_start(device, error));
        device.go_down = device.come_up = [] {};
        requests_start(requests);
    }
};

Connection& connect(Daemon& d, uint64_t id) {
    auto& c = d.server.connections[id] = std::make_unique<Connection>();
    c->id = id;
    c->source = "fuzz";
    return *c;
}

/// What a run leaves behind goes at its end: the search for leaks, which takes long, is for runs that keep
/// some of it.
void begin_anew(Daemon& d) {
    d.device.journal.lines.clear();
    d.device.passwords = {};
    d.server.connections.clear();
    d.server.to_serve.clear();
    d.server.to_forget.clear();
    d.server.waiting.clear();
    d.loop.timers.clear();
    if (!d.changed) return;
    for (const char* file : {"/config.json", "/state.json", "/change.json"})
        remove((d.device.state.path + file).c_str());
    d.device.change = {};
    d.store->undo_forget();
    d.store->reset_defaults({});
    d.device.rebooting = false;
    d.device.mode.clear();
    d.anew.reset(d.store->snapshot());
    d.changed = false;
}

Daemon& daemon_made() {
    static Daemon* const one = [] {
        auto* made = new Daemon;
        begin_anew(*made);
        return made;
    }();
    return *one;
}

void time_passes(Daemon& d, int64_t until) {
    for (int i = 0; i < MOST_STEPS && !d.loop.timers.empty(); i++) {
        if (d.loop.timers.begin()->first > until) return;
        auto action = std::move(d.loop.timers.begin()->second);
        d.loop.timers.erase(d.loop.timers.begin());
        action();
    }
}

/// What a connection was sent, message by message.
std::vector<JsonRef> sent(Connection& c) {
    std::vector<JsonRef> messages;
    std::string all = c.out.str();
    c.out.clear();
    ::Input lines(reinterpret_cast<const uint8_t*>(all.data()), all.size());
    for (std::string line = lines.text(); !line.empty(); line = lines.text()) {
        messages.emplace_back(json_loadb(line.data(), line.size(), 0, nullptr));
        REQUIRE(json_is_object(messages.back().get()));
    }
    return messages;
}

/// What would leave this process: other hosts and files, and threads that check passwords.
bool leaves(const json_t* message) {
    const char* method = json_string_value(json_object_get(message, "method"));
    std::string name = method ? method : "";
    return name == "Download" || name == "Upload" ||
           (name == "Login" && json_object_get(json_object_get(message, "params"), "Password"));
}

/// Whether a request may have changed the store or the device: reading does not, and what is refused must
/// not.
bool may_change(const json_t* message, const std::vector<JsonRef>& answers) {
    const char* text = json_string_value(json_object_get(message, "method"));
    std::string_view method = text ? text : "";
    for (const char* reads : {"Get", "Select", "JoinGroup", "LeaveGroup", "Login", "Logout"})
        if (method.starts_with(reads)) return false;
    if (method == "Execute" || !json_object_get(message, "id")) return true;
    return std::any_of(answers.begin(), answers.end(),
                       [](const JsonRef& answer) { return json_object_get(answer, "result"); });
}

void answers_fit(const json_t* message, const std::vector<JsonRef>& messages) {
    const json_t* id = json_object_get(message, "id");
    int answers = 0;
    for (const JsonRef& each : messages) {
        const json_t* to = json_object_get(each, "id");
        if (!to) {
            REQUIRE(json_object_get(each, "method"));
            continue;
        }
        answers++;
        REQUIRE(!json_object_get(each, "result") != !json_object_get(each, "error"));
        REQUIRE(json_is_null(to) || json_equal(to, id));
        if (json_is_string(id) || json_is_number(id)) REQUIRE(json_equal(to, id));
    }
    REQUIRE(id ? answers == 1 : answers <= 1);
}

void serve(Daemon& d, Connection& c, std::string_view text) {
    JsonRef message(json_loadb(text.data(), text.size(), 0, nullptr));
    if (message && leaves(message)) return;
    REQUIRE(dispatch(d.requests, c, text));
    time_passes(d, now_ms() + SOON_MS);
    REQUIRE(!c.busy);
    std::vector<JsonRef> answers = sent(c);
    if (message)
        answers_fit(message, answers);
    else
        REQUIRE(answers.size() <= 1 || session_of(c).groups.size() > 0);
    d.changed |= message && may_change(message, answers);
}

void state_holds(Daemon& d) {
    std::string error;
    JsonRef snapshot(d.store->snapshot());
    if (!d.changed) REQUIRE(json_equal(snapshot, d.anew));
    if (!d.changed) return;
    REQUIRE(d.store->validate(error));
    REQUIRE(d.store->restore(snapshot, error));
    REQUIRE(json_equal(JsonRef(d.store->snapshot()), snapshot));
}

}  // namespace
}  // namespace obxd

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace obxd;
    Daemon& d = daemon_made();
    Connection& c = connect(d, 16);
    Connection& listener = connect(d, 17);
    session_of(listener).groups = {1, 2, 3, 4, 5};
    REQUIRE(input_append(c.in, reinterpret_cast<const char*>(data), size));
    std::string_view text;
    while (!c.closing && input_next(c.in, text) == Frame::MESSAGE) serve(d, c, text);
    time_passes(d, INT64_MAX);
    REQUIRE(d.device.change.state != OpenChange::OPEN || !d.loop.timers.empty());
    for (const auto& event : sent(listener)) REQUIRE(json_object_get(event, "method"));
    state_holds(d);
    begin_anew(d);
    return 0;
}
