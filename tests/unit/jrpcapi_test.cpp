// Exchanges with a daemon behind a local socket.
#include <gtest/gtest.h>
#include <setjmp.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <string>

#include "ox_jrpcapi.hpp"
#include "ox_raii.hpp"
#include "ox_wait.hpp"
#include "scripted_daemon.hpp"

namespace {

inline void api_drop(ox_jrpcapi* api) {
    ox_jrpcapi_deinit(api);
}
using Api = ox_owner<ox_jrpcapi, api_drop>;

Api connection(const std::string& path, int timeout_ms = 5000) {
    Api api(ox_jrpcapi_init());
    ox_jrpcapi_set_destination(api, nullptr, path.c_str(), OX_SOCKET_LOCAL);
    ox_jrpcapi_set_timeout(api, timeout_ms);
    return api;
}

MsgRef request(const char* method = "Ask") {
    return MsgRef(ox_jrpcmsg_create_new(method, nullptr));
}

std::string result_of(const ox_jrpcmsg* message) {
    CharsRef text(json_dumps(ox_jrpcmsg_get_result_json(message), JSON_COMPACT | JSON_ENCODE_ANY));
    return text ? text.get() : "";
}

std::string event(int group, const std::string& params = "null") {
    return R"({"jsonrpc":"2.0","method":"Event","group":)" + std::to_string(group) + R"(,"params":)" +
           params + "}\n";
}

bool readable(int fd, int timeout_ms = 0) {
    struct pollfd entry = {fd, POLLIN, 0};
    return poll(&entry, 1, timeout_ms) == 1;
}

/// Takes events until one comes or two seconds have passed.
MsgRef next_event(ox_jrpcapi* api) {
    int fd = ox_socket_fd(ox_jrpcapi_socket(api));
    for (long long end = ox_wait_now_ms() + 2000; ox_wait_now_ms() < end;) {
        if (!readable(fd, 100)) continue;
        MsgRef message(ox_jrpcapi_recv(api));
        if (message) return message;
    }
    return MsgRef();
}

TEST(JrpcApi, DefaultsOfANewConnection) {
    Api api(ox_jrpcapi_init());
    EXPECT_EQ(ox_jrpcapi_get_flags(api), 1U);
    EXPECT_EQ(ox_jrpcapi_get_timeout(api), 5000);
    EXPECT_EQ(ox_jrpcapi_get_socket_err(api), 0);
    EXPECT_EQ(ox_jrpcapi_socket(api), nullptr);
    EXPECT_EQ(ox_socket_fd(ox_jrpcapi_socket(api)), -1);
    EXPECT_EQ(ox_jrpcapi_get_auth(api), nullptr);
    ox_jrpcapi_deinit(nullptr);
}

struct BadDestination {
    std::string path;
    int error;
};

TEST(JrpcApi, FailuresToConnectHaveTheirCodes) {
    TempDir dir;
    std::string dead = dir / "dead";
    {
        ScriptedDaemon gone(dead, [](ScriptedDaemon&) {});
    }
    std::string datagram = dir / "datagram";
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    datagram.copy(address.sun_path, sizeof(address.sun_path) - 1);
    Fd other(socket(AF_UNIX, SOCK_DGRAM, 0));
    ASSERT_EQ(bind(other.get(), reinterpret_cast<struct sockaddr*>(&address), sizeof(address)), 0);
    const BadDestination rows[] = {
        {dir / "none", OX_SOCKET_ENOENT},
        {dead, OX_SOCKET_EREFUSED},
        {datagram, OX_SOCKET_ESYSTEM},
        {"", OX_SOCKET_EDESTINATION},
        {"/" + std::string(200, 'x'), OX_SOCKET_EDESTINATION},
        {"tcp://", OX_SOCKET_EDESTINATION},
        {"tcp://127.0.0.1", OX_SOCKET_EDESTINATION},
        {"tcp://127.0.0.1:", OX_SOCKET_EDESTINATION},
        {"tcp://127.0.0.1:0", OX_SOCKET_EDESTINATION},
        {"tcp://127.0.0.1:65536", OX_SOCKET_EDESTINATION},
        {"tcp://127.0.0.1:1x", OX_SOCKET_EDESTINATION},
        {"tcp://::1:80", OX_SOCKET_EDESTINATION},
        {"tcp://[::1:80", OX_SOCKET_EDESTINATION},
        {"tcp://[]:80", OX_SOCKET_EDESTINATION},
        {"tcp://" + std::string(300, 'h') + ":1", OX_SOCKET_EDESTINATION},
        {"tcp://127.0.0.1:1", OX_SOCKET_EREFUSED},
    };
    for (const BadDestination& row : rows) {
        Api api = connection(row.path);
        EXPECT_EQ(ox_jrpcapi_connect(api), row.error) << row.path;
        EXPECT_EQ(ox_jrpcapi_get_socket_err(api), row.error) << row.path;
        EXPECT_EQ(ox_jrpcapi_socket(api), nullptr) << row.path;
        EXPECT_STRNE(ox_socket_strerror(row.error), "") << row.path;
    }
    EXPECT_STREQ(ox_socket_strerror(OX_SOCKET_ESYSTEM), "Protocol wrong type for socket");
}

TEST(JrpcApi, PermissionIsItsOwnError) {
    TempDir dir;
    std::string path = dir / "s";
    ScriptedDaemon daemon(path, [](ScriptedDaemon&) {});
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    Api api = connection(path);
    bool root = geteuid() == 0;
    ASSERT_EQ(root ? seteuid(65534) : 0, 0);
    int rc = ox_jrpcapi_connect(api);
    ASSERT_EQ(root ? seteuid(0) : 0, 0);
    EXPECT_EQ(rc, OX_SOCKET_EACCES);
}

TEST(JrpcApi, RequestsAreNumberedAndAnswered) {
    TempDir dir;
    std::string seen;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        seen += peer.serve("{\"a\":1}") + "\n";
        seen += peer.serve("[2]") + "\n";
        std::string last = peer.line();
        seen += last + "\n";
        peer.say(
            R"({"jsonrpc":"2.0","id":3,"error":{"code":9005,"message":"m","data":{"Detail":"d","A.B":9}}})");
    });
    {
        Api api = connection(dir / "s");
        EXPECT_EQ(ox_jrpcapi_connect(api), 0);
        EXPECT_EQ(ox_socket_type(ox_jrpcapi_socket(api)), OX_SOCKET_LOCAL);
        EXPECT_GE(ox_socket_fd(ox_jrpcapi_socket(api)), 0);
        MsgRef message = request();
        EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
        EXPECT_EQ(ox_jrpcmsg_typeof(message), OX_JRPCMSG_RESULT);
        EXPECT_EQ(result_of(message), "{\"a\":1}");
        EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);  // the same message again, with a new id
        EXPECT_EQ(result_of(message), "[2]");
        MsgRef refused(ox_jrpcmsg_cmd_add_object("A."));
        EXPECT_EQ(ox_jrpcapi_exec(api, refused), 0);
        EXPECT_EQ(refused->error_code, 9005);
        EXPECT_STREQ(refused->error_message, "m");
        EXPECT_STREQ(refused->error_detail, "d");
        EXPECT_EQ(json_integer_value(json_object_get(ox_jrpcmsg_get_errordata_json(refused), "A.B")), 9);
    }
    daemon.join();
    EXPECT_EQ(seen,
              "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"Ask\"}\n{\"jsonrpc\":\"2.0\",\"id\":2,\"method\":"
              "\"Ask\"}\n"
              "{\"jsonrpc\":\"2.0\",\"id\":3,\"method\":\"AddObject\",\"params\":{\"ObjectName\":\"A.\"}}\n");
}

TEST(JrpcApi, AParsedRequestKeepsItsId) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        peer.line();
        peer.say(R"({"jsonrpc":"2.0","id":"1","result":1}{"jsonrpc":"2.0","id":"x7","result":2})");
    });
    Api api = connection(dir / "s");
    JsonRef json(json_loads(R"({"jsonrpc":"2.0","method":"A","id":"x7"})", 0, nullptr));
    MsgRef message(ox_jrpcmsg_parse_json(json));
    EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
    JsonRef whole(ox_jrpcmsg_json(message));
    CharsRef text(json_dumps(whole, JSON_COMPACT));
    EXPECT_STREQ(text, R"({"jsonrpc":"2.0","method":"A","id":"x7","result":2})");
}

TEST(JrpcApi, AnswersMaySplitAnywhere) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        std::string id = Peer::id_of(peer.line());
        for (char byte : Peer::answer(id, R"({"text":"}{\"\\"})")) {
            peer.say(std::string(1, byte));
            usleep(500);
        }
    });
    Api api = connection(dir / "s");
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
    EXPECT_EQ(result_of(message), R"({"text":"}{\"\\"})");
}

TEST(JrpcApi, NullIdsInErrorsBelongToNobody) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        std::string id = Peer::id_of(peer.line());
        peer.say(R"({"jsonrpc":"2.0","id":null,"error":{"code":-32700}}{}{"other":1})" +
                 Peer::answer(id, "5"));
    });
    Api api = connection(dir / "s");
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
    EXPECT_EQ(result_of(message), "5");
}

TEST(JrpcApi, ATimeOutLeavesTheConnectionUsable) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        std::string late = Peer::id_of(peer.line());
        std::string id = Peer::id_of(peer.line());
        peer.say(Peer::answer(late, "\"late\"") + Peer::answer(id, "\"right\""));
        peer.line();
    });
    {
        Api api = connection(dir / "s", 100);
        MsgRef message = request();
        long long begin = ox_wait_now_ms();
        EXPECT_EQ(ox_jrpcapi_exec(api, message), OX_SOCKET_ETIMEOUT);
        EXPECT_GE(ox_wait_now_ms() - begin, 99);
        EXPECT_LT(ox_wait_now_ms() - begin, 1500);
        EXPECT_EQ(message->error_code, -11);
        EXPECT_STREQ(message->error_message, "Timed out");
        EXPECT_EQ(ox_jrpcapi_get_socket_err(api), -11);
        ox_jrpcapi_set_timeout(api, -1);
        EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
        EXPECT_EQ(result_of(message), "\"right\"");
    }
}

TEST(JrpcApi, BrokenMessagesCloseTheConnection) {
    struct Row {
        const char* bytes;
        const char* text;
    };
    const Row rows[] = {
        {"hello", "Broken message"},
        {"[1]", "Broken message"},
        {"{\"a\":}", "Broken message"},
        {"\x15\x03\x03\x01\x02\x02", "Broken message: the other side speaks TLS"},
    };
    for (const Row& row : rows) {
        TempDir dir;
        ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
            Peer peer = self.accept();
            peer.line();
            peer.say(row.bytes);
            EXPECT_EQ(peer.line(), "");  // closed by the client
            Peer again = self.accept();
            again.serve();
        });
        Api api = connection(dir / "s");
        MsgRef message = request();
        EXPECT_EQ(ox_jrpcapi_exec(api, message), OX_SOCKET_EPROTO) << row.bytes;
        EXPECT_EQ(message->error_code, -10);
        EXPECT_STREQ(message->error_message, row.text);
        EXPECT_EQ(ox_jrpcapi_socket(api), nullptr);
        EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);  // a new connection
    }
}

TEST(JrpcApi, AnEndlessMessageIsRefused) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        peer.line();
        peer.say("{\"a\":\"");
        while (peer.say(std::string(1 << 20, 'x'))) continue;
    });
    Api api = connection(dir / "s", 20000);
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, message), OX_SOCKET_EPROTO);
}

TEST(JrpcApi, BigMessagesPassBothWays) {
    TempDir dir;
    size_t length = 0;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        std::string text = peer.line();
        length = text.size();
        peer.say(Peer::answer(Peer::id_of(text), "\"" + std::string(20 << 20, 'y') + "\""));
    });
    Api api = connection(dir / "s", 20000);
    MsgRef message(ox_jrpcmsg_create_new("A", json_pack("{s:s}", "x", std::string(20 << 20, 'x').c_str())));
    EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
    EXPECT_EQ(json_string_length(ox_jrpcmsg_get_result_json(message)), size_t{20 << 20});
    daemon.join();
    EXPECT_GT(length, size_t{20 << 20});
}

TEST(JrpcApi, AMessageOverTheBoundIsNotSent) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        peer.serve();
    });
    Api api = connection(dir / "s");
    MsgRef big(ox_jrpcmsg_create_new("A", json_pack("{s:s}", "x", std::string(64 << 20, 'x').c_str())));
    EXPECT_EQ(ox_jrpcapi_exec(api, big), OX_SOCKET_EPROTO);
    MsgRef small = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, small), 0);
}

TEST(JrpcApi, ALostConnectionComesBackWithLoginAndGroups) {
    TempDir dir;
    std::string seen;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        for (int round = 0; round < 2; ++round) {
            Peer peer = self.accept();
            for (std::string line; !(line = peer.serve()).empty();) {
                seen += line.substr(line.find("\"method\"") + 10) + "\n";
                if (line.find("Last") != std::string::npos) break;
            }
        }
    });
    {
        Api api = connection(dir / "s");
        EXPECT_EQ(ox_jrpcapi_login(api, "admin", "secret"), 0);
        for (uint32_t group : {7, 8, 9}) {
            MsgRef join(ox_jrpcmsg_cmd_join_group(group));
            EXPECT_EQ(ox_jrpcapi_exec(api, join), 0);
        }
        MsgRef leave(ox_jrpcmsg_create_new("LeaveGroup", json_pack("{s:i}", "Group", 8)));
        EXPECT_EQ(ox_jrpcapi_exec(api, leave), 0);
        MsgRef last = request("Last");
        EXPECT_EQ(ox_jrpcapi_exec(api, last), 0);
        MsgRef lost = request("Lost");
        EXPECT_EQ(ox_jrpcapi_exec(api, lost), OX_SOCKET_ECLOSED);
        EXPECT_EQ(lost->error_code, -7);
        EXPECT_STREQ(lost->error_message, "Connection closed by the daemon");
        EXPECT_EQ(ox_jrpcapi_get_socket_err(api), -7);
        EXPECT_EQ(ox_jrpcapi_exec(api, lost), 0);
    }
    daemon.join();
    EXPECT_EQ(seen, R"(Login","params":{"Login":"admin","Password":"secret"}}
JoinGroup","params":{"Group":7}}
JoinGroup","params":{"Group":8}}
JoinGroup","params":{"Group":9}}
LeaveGroup","params":{"Group":8}}
Last"}
Login","params":{"Login":"admin","Password":"secret"}}
JoinGroup","params":{"Group":7}}
JoinGroup","params":{"Group":9}}
Lost"}
)");
}

struct Relogin {
    const char* name;
    uint32_t flags;
    bool refuse;
    bool logout;
    bool expected;
};

TEST(JrpcApi, LogsInAgainOnlyWhereItShould) {
    const Relogin rows[] = {
        {"after a login", 1, false, false, true},
        {"flag cleared", 0, false, false, false},
        {"login refused", 1, true, false, false},
        {"logged out", 1, false, true, false},
    };
    for (const Relogin& row : rows) {
        TempDir dir;
        bool again = false;
        ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
            Peer peer = self.accept();
            std::string login = peer.line();
            peer.say(row.refuse ? R"({"jsonrpc":"2.0","id":1,"error":{"code":9001,"message":"no"}})"
                                : R"({"jsonrpc":"2.0","id":1,"result":{}})");
            if (row.logout) peer.serve();
            peer.close();
            Peer second = self.accept();
            again = second.serve().find("Login") != std::string::npos;
            if (again) second.serve();
        });
        Api api = connection(dir / "s");
        ox_jrpcapi_set_flags(api, row.flags);
        EXPECT_EQ(ox_jrpcapi_login(api, "u", nullptr), row.refuse ? 9001 : 0) << row.name;
        if (row.logout) {
            EXPECT_EQ(ox_jrpcapi_logout(api), 0) << row.name;
        }
        MsgRef message = request();
        if (ox_jrpcapi_exec(api, message) == OX_SOCKET_ECLOSED) ox_jrpcapi_exec(api, message);
        EXPECT_EQ(message->error_code, 0) << row.name;
        daemon.join();
        EXPECT_EQ(again, row.expected) << row.name;
    }
}

TEST(JrpcApi, ADaemonThatComesBackIsFoundAgain) {
    TempDir dir;
    std::string path = dir / "s";
    Api api = connection(path);
    MsgRef message = request();
    {
        ScriptedDaemon first(path, [](ScriptedDaemon& self) { self.accept().serve(); });
        EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
    }
    EXPECT_EQ(ox_jrpcapi_exec(api, message), OX_SOCKET_ECLOSED);
    EXPECT_EQ(ox_jrpcapi_exec(api, message), OX_SOCKET_EREFUSED);
    EXPECT_EQ(message->error_code, -4);
    unlink(path.c_str());
    EXPECT_EQ(ox_jrpcapi_exec(api, message), OX_SOCKET_ENOENT);
    ScriptedDaemon second(path, [](ScriptedDaemon& self) { self.accept().serve("8"); });
    EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
    EXPECT_EQ(result_of(message), "8");
}

TEST(JrpcApi, TokensAreSentAndRemoved) {
    TempDir dir;
    std::string seen;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        for (int i = 0; i < 4; ++i) seen += peer.serve() + "\n";
        seen += peer.line() + "\n";
    });
    {
        Api api = connection(dir / "s");
        MsgRef message = request();
        ox_jrpcapi_set_auth(api, 0, "to\"ken", 0, 5000);
        EXPECT_STREQ(ox_jrpcapi_get_auth(api), "to\"ken");
        EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
        JsonRef json(ox_jrpcmsg_json(message));
        EXPECT_EQ(json_object_get(json, "auth"), nullptr);
        ox_jrpcapi_set_auth(api, 0, "", 0, 5000);
        EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
        ox_jrpcapi_set_auth(api, 0, "t", 0, 5000);
        EXPECT_EQ(ox_jrpcapi_login(api, nullptr, nullptr), 0);
        EXPECT_EQ(ox_jrpcapi_get_auth(api), nullptr);
        EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
        ox_jrpcapi_set_auth(api, 0, "t", 0, 5000);
        MsgRef note(ox_jrpcmsg_create_event_new(9, nullptr));
        EXPECT_EQ(ox_jrpcapi_send(api, note), 0);
    }
    daemon.join();
    EXPECT_EQ(seen, R"({"jsonrpc":"2.0","id":1,"method":"Ask","auth":"to\"ken"}
{"jsonrpc":"2.0","id":2,"method":"Ask"}
{"jsonrpc":"2.0","id":3,"method":"Login","params":{"Login":null,"Password":null},"auth":"t"}
{"jsonrpc":"2.0","id":4,"method":"Ask"}
{"jsonrpc":"2.0","method":"Event","group":9}
)");
}

TEST(JrpcApi, SentMessagesExpectNoReply) {
    TempDir dir;
    std::string seen;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) { seen = self.accept().line(); });
    Api api = connection(dir / "s");
    MsgRef message = request("Note");
    EXPECT_EQ(ox_jrpcapi_send(api, message), 0);
    daemon.join();
    EXPECT_EQ(seen, R"({"jsonrpc":"2.0","method":"Note"})");
    EXPECT_EQ(ox_jrpcapi_send(api, nullptr), OX_SOCKET_ENOMEM);
    EXPECT_EQ(ox_jrpcapi_exec(api, nullptr), OX_SOCKET_ENOMEM);
}

// Events ---------------------------------------------------------------------------------------------------

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
    ASSERT_TRUE(readable(fd, 2000));
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
    ASSERT_TRUE(readable(pair.fd(), 2000));
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
    ASSERT_TRUE(readable(fd, 2000));
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

TEST(JrpcEvents, AFloodEndsAtABound) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer requests = self.accept();
        Peer events = self.accept();
        requests.line();
        std::string text = event(51, "\"" + std::string(60000, 'e') + "\"");
        while (requests.say(text)) continue;
        events.line();
    });
    Pair pair(dir / "s");
    ox_jrpcapi_set_timeout(pair.requests, 30000);
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(pair.requests, message), OX_SOCKET_EPROTO);
    EXPECT_STREQ(message->error_message, "Too many events wait to be taken");
    MsgRef kept(ox_jrpcapi_recv(pair.events));
    ASSERT_NE(kept.get(), nullptr);  // what was queued before is not lost
    EXPECT_EQ(kept->group, 51U);
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
    int closed_pipe = ox_jrpcapi_pump(2000);
    ox_jrpcapi_print_events(false);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    EXPECT_EQ(open_pipe, 0);
    EXPECT_EQ(closed_pipe, 1);
}

// Ctrl-C: a wait that is left by a jump --------------------------------------------------------------------

sigjmp_buf jump_context;
volatile sig_atomic_t waiting = 0;

void enter_wait() {
    waiting = 1;
}
void leave_wait() {
    waiting = 0;
}
void on_alarm(int /*signal*/) {
    if (waiting) siglongjmp(jump_context, 1);
}

/// Executes a request and jumps out of its wait after a while. True when it was left by the jump.
bool exec_and_jump(ox_jrpcapi* api, ox_jrpcmsg* message, int after_ms) {
    struct sigaction action = {};
    action.sa_handler = on_alarm;
    sigaction(SIGALRM, &action, nullptr);
    ox_wait_set_hooks(enter_wait, leave_wait);
    volatile bool jumped = false;
    if (sigsetjmp(jump_context, 1) == 0) {
        struct itimerval timer = {{0, 0}, {after_ms / 1000, (after_ms % 1000) * 1000}};
        setitimer(ITIMER_REAL, &timer, nullptr);
        ox_jrpcapi_exec(api, message);
    } else {
        jumped = true;
    }
    struct itimerval off = {};
    setitimer(ITIMER_REAL, &off, nullptr);
    waiting = 0;
    ox_wait_set_hooks(nullptr, nullptr);
    return jumped;
}

TEST(JrpcJump, OutOfAReceiveLeavesTheConnectionUsable) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        std::string late = Peer::answer(Peer::id_of(peer.line()), "\"late\"");
        peer.say(late.substr(0, 20));  // half of it stays in the buffer
        std::string id = Peer::id_of(peer.line());
        peer.say(late.substr(20) + Peer::answer(id, "\"right\""));
        peer.line();
    });
    {
        Api api = connection(dir / "s", -1);
        MsgRef message = request();
        EXPECT_TRUE(exec_and_jump(api, message, 50));
        MsgRef next = request();
        EXPECT_EQ(ox_jrpcapi_exec(api, next), 0);
        EXPECT_EQ(result_of(next), "\"right\"");
    }
}

TEST(JrpcJump, OutOfASendFinishesTheMessageLater) {
    TempDir dir;
    size_t first = 0;
    std::string second;
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        char byte = 0;
        if (read(go[0], &byte, 1) != 1) return;  // not reading before the client has jumped
        std::string whole = peer.line();
        first = whole.size();
        peer.say(Peer::answer(Peer::id_of(whole), "\"late\""));
        second = peer.serve("\"right\"");
    });
    Api api = connection(dir / "s", -1);
    MsgRef big(ox_jrpcmsg_create_new("A", json_pack("{s:s}", "x", std::string(4 << 20, 'x').c_str())));
    EXPECT_TRUE(exec_and_jump(api, big, 50));
    MsgRef dropped = request("Dropped");  // abandoned before its first byte was out: never sent
    EXPECT_TRUE(exec_and_jump(api, dropped, 50));
    ASSERT_EQ(write(go[1], "x", 1), 1);
    MsgRef next = request("Next");
    EXPECT_EQ(ox_jrpcapi_exec(api, next), 0);
    EXPECT_EQ(result_of(next), "\"right\"");
    daemon.join();
    EXPECT_GT(first, size_t{4 << 20});
    EXPECT_NE(second.find("Next"), std::string::npos);
    close(go[0]);
    close(go[1]);
}

TEST(JrpcJump, OutOfAReloginDoesItAgain) {
    TempDir dir;
    int logins = 0;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        self.accept().serve();  // logged in, then lost
        Peer peer = self.accept();
        for (std::string line; !(line = peer.line()).empty();) {
            bool login = line.find("Login") != std::string::npos;
            if (login && ++logins == 1) continue;  // the first one hangs
            peer.say(Peer::answer(Peer::id_of(line), "4"));
        }
    });
    {
        Api api = connection(dir / "s", -1);
        EXPECT_EQ(ox_jrpcapi_login(api, "u", "p"), 0);
        MsgRef message = request();
        EXPECT_EQ(ox_jrpcapi_exec(api, message), OX_SOCKET_ECLOSED);
        EXPECT_TRUE(exec_and_jump(api, message, 50));
        MsgRef next = request();
        EXPECT_EQ(ox_jrpcapi_exec(api, next), 0);
        EXPECT_EQ(result_of(next), "4");
    }
    daemon.join();
    EXPECT_EQ(logins, 2);
}

TEST(JrpcJump, ASignalThatReturnsDoesNotEndTheExchange) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        std::string text = peer.line();
        usleep(120000);
        peer.say(Peer::answer(Peer::id_of(text), "1"));
    });
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    struct itimerval timer = {{0, 20000}, {0, 20000}};
    setitimer(ITIMER_REAL, &timer, nullptr);
    Api api = connection(dir / "s");
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
    struct itimerval off = {};
    setitimer(ITIMER_REAL, &off, nullptr);
}

}  // namespace
