// The request whose response nobody waits for.
#include "connection_helpers.hpp"
#include "ox_jrpcevents.hpp"
#include "platform/global/jrpc/connection.hpp"

namespace {

struct Begun {
    Api api;
    MsgRef message;
};

/// A connection, and a request whose response is under way on it.
Begun begun(const std::string& path, int timeout_ms = 5000) {
    Begun made{connection(path, timeout_ms), request()};
    EXPECT_EQ(ox_jrpcapi_connect(made.api), 0);
    EXPECT_EQ(ox_jrpcapi_begin(made.api, made.message, nullptr), 0);
    return made;
}

void pump_until_answered(const ox_jrpcapi* api, const ox_jrpcmsg* message) {
    for (int i = 0; i < 500 && ox_jrpcapi_is_underway(api, message); ++i) ox_jrpcapi_pump(20);
}

/// Serves this many requests, each with its method as the result.
void echo(Peer& peer, int count) {
    for (int i = 0; i < count; ++i) {
        std::string request = peer.line();
        size_t at = request.find("\"method\":") + 9;
        peer.say(
            Peer::answer(Peer::id_of(request), request.substr(at, request.find_first_of(",}", at) - at)));
    }
}

TEST(Underway, TheResponseIsTakenInWhereverItIsRead) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [](ScriptedDaemon& self) {
        Peer peer = self.accept();
        echo(peer, 5);
    });
    Api api = connection(dir / "s");
    ASSERT_EQ(ox_jrpcapi_connect(api), 0);
    MsgRef first = request("First");
    MsgRef second = request("Second");
    ASSERT_EQ(ox_jrpcapi_begin(api, first, nullptr), 0);
    EXPECT_LT(ox_jrpcapi_begin(api, second, nullptr), 0);  // one at a time
    pump_until_answered(api, first);
    EXPECT_EQ(result_of(first), "\"First\"");
    ASSERT_EQ(ox_jrpcapi_begin(api, second, nullptr), 0);
    MsgRef third = request("Third");
    EXPECT_EQ(ox_jrpcapi_exec(api, third), 0);
    EXPECT_EQ(result_of(third), "\"Third\"");
    EXPECT_FALSE(ox_jrpcapi_is_underway(api, second));
    EXPECT_EQ(result_of(second), "\"Second\"");
    MsgRef fourth = request("Fourth");
    ASSERT_EQ(ox_jrpcapi_begin(api, fourth, nullptr), 0);
    EXPECT_EQ(ox_jrpcapi_finish(api, fourth), 0);
    EXPECT_EQ(result_of(fourth), "\"Fourth\"");
    MsgRef fifth = request("Fifth");
    ASSERT_EQ(ox_jrpcapi_begin(api, fifth, nullptr), 0);
    ox_jrpcapi_abandon(api, fifth);
    EXPECT_FALSE(ox_jrpcapi_is_underway(api, fifth));
}

TEST(Underway, NothingIsBegunWhereNoConnectionIs) {
    TempDir dir;
    Api api = connection(dir / "s");
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_begin(api, message, nullptr), OX_SOCKET_ECLOSED);
    EXPECT_FALSE(ox_jrpcapi_is_underway(api, message));
    EXPECT_EQ(ox_jrpcapi_begin(api, nullptr, nullptr), OX_SOCKET_ENOMEM);
}

TEST(Underway, ALostConnectionIsItsOutcome) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [](ScriptedDaemon& self) { self.accept().line(); });
    auto [api, message] = begun(dir / "s");
    pump_until_answered(api, message);
    EXPECT_EQ(message->error_code, OX_SOCKET_ECLOSED);
}

TEST(Underway, ATimeoutLeavesIt) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [](ScriptedDaemon& self) {
        Peer peer = self.accept();
        std::string id = Peer::id_of(peer.line());
        peer.line();  // the next request, which does not come before the time-out
        peer.say(Peer::answer(id, "1"));
        peer.say(Peer::answer(std::to_string(std::stoi(id) + 1), "2"));
    });
    auto [api, message] = begun(dir / "s", 50);
    EXPECT_EQ(ox_jrpcapi_finish(api, message), OX_SOCKET_ETIMEOUT);
    EXPECT_TRUE(ox_jrpcapi_is_underway(api, message));
    ox_jrpcapi_set_timeout(api, 5000);
    MsgRef other = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, other), 0);
    EXPECT_EQ(result_of(message), "1");
    EXPECT_EQ(result_of(other), "2");
}

TEST(Underway, AResponseThatWasPassedOverWillNotCome) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [](ScriptedDaemon& self) {
        Peer peer = self.accept();
        peer.line();
        peer.serve("2");
    });
    auto [api, message] = begun(dir / "s");
    MsgRef other = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, other), 0);
    EXPECT_EQ(result_of(other), "2");
    EXPECT_FALSE(ox_jrpcapi_is_underway(api, message));
    EXPECT_EQ(message->error_code, OX_SOCKET_ETIMEOUT);
}

/// The time that a long answer takes is not that of the short one behind it.
TEST(Underway, ALongAnswerDoesNotTimeOutTheOneBehindIt) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [](ScriptedDaemon& self) {
        Peer peer = self.accept();
        std::string id = Peer::id_of(peer.line());
        std::string next = Peer::id_of(peer.line());
        std::string list = "[0";
        for (int i = 0; i < 8000; ++i) list += ",\"" + std::string(97, 'x') + "\"";
        std::string text = Peer::answer(id, list + "]");
        for (size_t at = 0; at < text.size(); at += 40000) {
            usleep(60000);
            peer.say(text.substr(at, 40000));
        }
        usleep(60000);
        peer.say(Peer::answer(next, "2"));
    });
    auto [api, message] = begun(dir / "s", 1000);
    MsgRef other = request();
    ASSERT_EQ(ox_jrpcapi_exec(api, other), 0);
    EXPECT_EQ(result_of(other), "2");
    EXPECT_EQ(json_array_size(ox_jrpcmsg_get_result_json(message)), 8001u);
}

/// A request that the socket does not take at once goes out whole, whatever is sent behind it.
TEST(Underway, WhatTheSocketDoesNotTakeGoesOutLater) {
    TempDir dir;
    std::string big(4 << 20, 'y');
    std::string seen[2];
    std::atomic<bool> read{false};
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        while (!read) usleep(1000);
        for (std::string& request : seen) request = peer.serve("1");
        echo(peer, 1);
    });
    Api api = connection(dir / "s");
    ASSERT_EQ(ox_jrpcapi_connect(api), 0);
    MsgRef message(ox_jrpcmsg_create_new("Big", json_pack("{s:s}", "Text", big.c_str())));
    ASSERT_EQ(ox_jrpcapi_begin(api, message, nullptr), 0);
    EXPECT_TRUE(ox_jrpcapi_has_unsent(api));
    ox_jrpcapi_send_more(api);
    EXPECT_TRUE(ox_jrpcapi_has_unsent(api));
    read = true;
    MsgRef other = request("Other");
    EXPECT_EQ(ox_jrpcapi_exec(api, other), 0);
    EXPECT_FALSE(ox_jrpcapi_has_unsent(api));
    EXPECT_EQ(result_of(message), "1");
    MsgRef last = request("Last");
    EXPECT_EQ(ox_jrpcapi_exec(api, last), 0);
    daemon.join();
    EXPECT_NE(seen[0].find(big), std::string::npos);
    EXPECT_NE(seen[1].find("\"Other\""), std::string::npos);
}

}  // namespace
