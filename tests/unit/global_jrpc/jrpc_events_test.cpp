// Events: queued, told of, printed.
#include "connection_helpers.hpp"
#include "ox_jrpcevents.hpp"

namespace {

/// A requests and an events connection, in the order in which the client makes them.
struct Pair {
    Api requests;
    Api events;
    explicit Pair(const std::string& path) : requests(connection(path)), events(connection(path)) {
        ox_jrpcapi_connect(requests);
        ox_jrpcapi_connect(events);
        ox_jrpcapi_set_flags(events, OX_JRPCAPI_RELOGIN | OX_JRPCAPI_EVENTS);
    }
    int fd() const { return ox_socket_fd(ox_jrpcapi_socket(events)); }
};

TEST(JrpcEvents, RecvTellsWhatIsThere) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        requests.serve();
        std::string text = event(5, "{\"a\":[1]}");
        events.say(text.substr(0, 10));
        requests.serve();
        std::string go = requests.line();
        events.say(text.substr(10) + event(6) + R"({"jsonrpc":"2.0","id":77,"result":{}})" +
                   R"({"jsonrpc":"2.0","method":"Hello"})");
        requests.say(Peer::answer(Peer::id_of(go), "{}"));
        requests.line();
    });
    Pair pair(dir / "s");
    EXPECT_EQ(ox_jrpcapi_recv(pair.events), nullptr);
    EXPECT_EQ(ox_jrpcapi_get_socket_err(pair.events), OX_SOCKET_EEMPTY);
    EXPECT_FALSE(readable(pair.fd()));
    MsgRef sync = request();
    ox_jrpcapi_exec(pair.requests, sync);
    ox_jrpcapi_exec(pair.requests, sync);
    EXPECT_EQ(ox_jrpcapi_recv(pair.events), nullptr);
    EXPECT_EQ(ox_jrpcapi_get_socket_err(pair.events), OX_SOCKET_EPARTIAL);
    ox_jrpcapi_exec(pair.requests, sync);
    MsgRef first = next_event(pair.events);
    ASSERT_NE(first.get(), nullptr);
    EXPECT_EQ(first->group, 5U);
    CharsRef params(json_dumps(ox_jrpcmsg_get_params_json(first), JSON_COMPACT));
    EXPECT_STREQ(params, "{\"a\":[1]}");
    EXPECT_TRUE(readable(pair.fd()));  // the rest was read already, and is told of
    MsgRef second = next_event(pair.events);
    ASSERT_NE(second.get(), nullptr);
    EXPECT_EQ(second->group, 6U);
    MsgRef third = next_event(pair.events);  // a notification; the stray response is dropped
    ASSERT_NE(third.get(), nullptr);
    EXPECT_EQ(third->group, 0U);
    EXPECT_EQ(ox_jrpcmsg_typeof(third), OX_JRPCMSG_NOTIFICATION);
    EXPECT_FALSE(readable(pair.fd()));
    EXPECT_EQ(ox_jrpcapi_recv(pair.events), nullptr);
    EXPECT_EQ(ox_jrpcapi_get_socket_err(pair.events), OX_SOCKET_EEMPTY);
}

TEST(JrpcEvents, AreQueuedWhileAResponseIsAwaited) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        std::string id = Peer::id_of(requests.line());
        requests.say(event(11) + event(12) + Peer::answer(id, "1") + event(13));
        requests.serve();
        requests.line();
    });
    Pair pair(dir / "s");
    EXPECT_FALSE(readable(pair.fd()));
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), 0);
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), 0);
    for (uint32_t group : {11, 12, 13}) {
        ASSERT_TRUE(readable(pair.fd()));
        MsgRef taken(ox_jrpcapi_recv(pair.events));
        ASSERT_NE(taken.get(), nullptr);
        EXPECT_EQ(taken->group, group);
    }
    EXPECT_FALSE(readable(pair.fd()));
}

TEST(JrpcEvents, OfOneGroupAreTakenAndTheOthersStay) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        std::string id = Peer::id_of(requests.line());
        events.say(event(4, "4") + event(7) + event(4, "5") + event(8) + event(4, "6") +
                   event(4).substr(0, 9));
        requests.say(event(4, "1") + event(4, "2") + event(9) + event(4, "3") + Peer::answer(id, "1"));
        requests.line();
    });
    static std::string taken;
    taken.clear();
    auto take = [](ox_jrpcmsg* message) {
        EXPECT_EQ(message->group, 4U);
        taken += std::to_string(json_integer_value(ox_jrpcmsg_get_params_json(message))) + " ";
    };
    Pair pair(dir / "s");
    ox_jrpcapi_take_events(4, take);
    EXPECT_EQ(taken, "");
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), 0);
    ox_jrpcapi_take_events(4, take);
    EXPECT_EQ(taken.size(), 12U);
    for (const char* number : {"1 ", "2 ", "3 ", "4 ", "5 ", "6 "})
        EXPECT_NE(taken.find(number), std::string::npos) << number;
    EXPECT_LT(taken.find("1"), taken.find("3"));
    EXPECT_LT(taken.find("4"), taken.find("6"));
    uint32_t sum = 0;
    for (int i = 0; i < 3; i++) {
        ASSERT_TRUE(readable(pair.fd()));
        MsgRef other(ox_jrpcapi_recv(pair.events));
        ASSERT_NE(other.get(), nullptr);
        sum += other->group;
    }
    EXPECT_EQ(sum, 24U);
    EXPECT_EQ(ox_jrpcapi_recv(pair.events), nullptr);
    EXPECT_FALSE(readable(pair.fd()));
}

TEST(JrpcEvents, AreSeenOnTheCommonDescriptorWhereverTheyArrive) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        requests.serve();
        requests.say(event(21));
        std::string text = requests.line();
        requests.close();  // the client reconnects
        Peer again = self.accept();
        again.serve();
        again.say(event(22));
        events.line();
    });
    Pair pair(dir / "s");
    int fd = pair.fd();
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), 0);
    ASSERT_TRUE(readable(fd, 20000));
    MsgRef first(ox_jrpcapi_recv(pair.events));
    ASSERT_NE(first.get(), nullptr);
    EXPECT_EQ(first->group, 21U);
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), OX_SOCKET_ECLOSED);
    EXPECT_FALSE(readable(fd));
    EXPECT_EQ(ox_jrpcapi_recv(pair.events), nullptr);  // the loss is not that of the events connection
    EXPECT_EQ(ox_jrpcapi_get_socket_err(pair.events), OX_SOCKET_EEMPTY);
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), 0);
    EXPECT_EQ(pair.fd(), fd);
    MsgRef second = next_event(pair.events);
    ASSERT_NE(second.get(), nullptr);
    EXPECT_EQ(second->group, 22U);
}

TEST(JrpcEvents, AnIdleRequestsConnectionThatClosesIsNoticedQuietly) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        requests.close();
        Peer again = self.accept();
        again.serve("3");
        events.line();
    });
    Pair pair(dir / "s");
    ASSERT_TRUE(readable(pair.fd(), 20000));
    EXPECT_EQ(ox_jrpcapi_recv(pair.events), nullptr);
    EXPECT_EQ(ox_jrpcapi_get_socket_err(pair.events), OX_SOCKET_EEMPTY);
    EXPECT_FALSE(readable(pair.fd()));
    EXPECT_EQ(ox_jrpcapi_get_socket_err(pair.requests), OX_SOCKET_ECLOSED);
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), 0);  // reconnected without a failure
    EXPECT_EQ(result_of(message), "3");
}

TEST(JrpcEvents, TheLossOfTheEventsConnectionIsSeen) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        events.say(event(31));
        events.close();
        requests.line();
    });
    Pair pair(dir / "s");
    MsgRef last = next_event(pair.events);
    ASSERT_NE(last.get(), nullptr);
    EXPECT_EQ(last->group, 31U);
    int fd = pair.fd();
    ASSERT_TRUE(readable(fd, 20000));
    EXPECT_EQ(ox_jrpcapi_recv(pair.events), nullptr);
    EXPECT_EQ(ox_jrpcapi_get_socket_err(pair.events), OX_SOCKET_ECLOSED);
    EXPECT_TRUE(readable(fd));  // and stays seen
    EXPECT_EQ(ox_jrpcapi_recv(pair.events), nullptr);
    EXPECT_EQ(ox_jrpcapi_get_socket_err(pair.events), OX_SOCKET_ECLOSED);
}

TEST(JrpcEvents, WithoutATakerTheyAreDropped) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        std::string id = Peer::id_of(requests.line());
        requests.say(event(41) + Peer::answer(id, "1"));
        requests.line();
    });
    Pair pair(dir / "s");
    ox_jrpcapi_set_flags(pair.events, OX_JRPCAPI_RELOGIN);
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), 0);
    ox_jrpcapi_set_flags(pair.events, OX_JRPCAPI_EVENTS);
    EXPECT_EQ(ox_jrpcapi_recv(pair.events), nullptr);
    EXPECT_EQ(ox_jrpcapi_get_socket_err(pair.events), OX_SOCKET_EEMPTY);
}

TEST(JrpcEvents, TheEventsConnectionIsReadDuringExchanges) {
    enum { EVENTS = 20, SIZE = 100000 };  // more than a socket holds
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        std::string id = Peer::id_of(requests.line());
        for (int i = 0; i < EVENTS; ++i) events.say(event(i + 1, "\"" + std::string(SIZE, 'e') + "\""));
        requests.say(Peer::answer(id, "1"));
        requests.line();
    });
    Pair pair(dir / "s");
    ox_jrpcapi_set_timeout(pair.requests, 10000);
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), 0);
    for (uint32_t i = 0; i < EVENTS; ++i) {
        MsgRef taken = next_event(pair.events);
        ASSERT_NE(taken.get(), nullptr);
        EXPECT_EQ(taken->group, i + 1);
    }
    EXPECT_EQ(ox_jrpcapi_take_lost_events(), 0U);
}

TEST(JrpcEvents, OfAFloodTheNewestAreKept) {
    enum { EVENTS = 300, SIZE = 60000, KEPT = (4 << 20) / SIZE };
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        std::string id = Peer::id_of(requests.line());
        for (int i = 0; i < EVENTS; ++i) requests.say(event(i + 1, "\"" + std::string(SIZE, 'e') + "\""));
        requests.say(Peer::answer(id, "1"));
        requests.line();
    });
    Pair pair(dir / "s");
    ox_jrpcapi_set_timeout(pair.requests, 30000);
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), 0);
    size_t lost = ox_jrpcapi_take_lost_events();
    EXPECT_NEAR(static_cast<double>(lost), EVENTS - KEPT, 2);
    EXPECT_EQ(ox_jrpcapi_take_lost_events(), 0U);
    for (size_t group = lost + 1; group <= EVENTS; ++group) {
        MsgRef kept(ox_jrpcapi_recv(pair.events));
        ASSERT_NE(kept.get(), nullptr);
        EXPECT_EQ(kept->group, group);
    }
    EXPECT_EQ(ox_jrpcapi_recv(pair.events), nullptr);
}

TEST(JrpcEvents, AnEventOverTheBoundIsKeptAlone) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        std::string id = Peer::id_of(requests.line());
        requests.say(event(61) + event(62, "\"" + std::string(9 << 20, 'e') + "\""));
        requests.say(Peer::answer(id, "1"));
        requests.line();
    });
    Pair pair(dir / "s");
    ox_jrpcapi_set_timeout(pair.requests, 30000);
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), 0);
    EXPECT_EQ(ox_jrpcapi_take_lost_events(), 1U);
    MsgRef kept(ox_jrpcapi_recv(pair.events));
    ASSERT_NE(kept.get(), nullptr);
    EXPECT_EQ(kept->group, 62U);
}

TEST(JrpcEvents, AFloodDoesNotProlongAnExchange) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        requests.line();
        std::string text = event(51, "\"" + std::string(1000, 'e') + "\"");
        while (requests.say(text)) continue;
        events.line();
    });
    Pair pair(dir / "s");
    ox_jrpcapi_set_timeout(pair.requests, 500);
    MsgRef message = request();
    long long start = ox_wait_now_ms();
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), OX_SOCKET_ETIMEOUT);
    EXPECT_LT(ox_wait_now_ms() - start, 30000);
}

TEST(JrpcEvents, ListenModePrintsThem) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        requests.say(event(61, "{\"a\":1}"));
        std::string bare = R"({"jsonrpc":"2.0","method":"Event","group":62})";
        usleep(20000);
        events.say(bare + event(63, "\"x\""));
        usleep(20000);
    });
    Pair pair(dir / "s");
    ox_jrpcapi_print_events(true);
    testing::internal::CaptureStdout();
    int rc = 0;
    for (int i = 0; i < 200 && rc == 0; ++i) rc = ox_jrpcapi_pump(50);
    std::string printed = testing::internal::GetCapturedStdout();
    ox_jrpcapi_print_events(false);
    EXPECT_EQ(rc, OX_SOCKET_ECLOSED);
    EXPECT_EQ(printed, "\nEVENT 61:\n{\n    \"a\": 1\n}\n\nEVENT 62:\n\nEVENT 63:\n\"x\"\n");
}

TEST(JrpcEvents, ListenModeNoticesAClosedPipe) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        events.line();
    });
    Pair pair(dir / "s");
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    fflush(stdout);
    int saved = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    ox_jrpcapi_print_events(true);
    int open_pipe = ox_jrpcapi_pump(10);
    close(ends[0]);
    int closed_pipe = ox_jrpcapi_pump(20000);
    ox_jrpcapi_print_events(false);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    EXPECT_EQ(open_pipe, 0);
    EXPECT_EQ(closed_pipe, 1);
}

}  // namespace
