// Exchanges with a daemon behind a local socket.
#include <errno.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/stat.h>

#include <atomic>

#include "connection_helpers.hpp"
#include "ox_jrpccmd.hpp"

namespace {

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

void expect_failure(const std::string& path, int error) {
    Api api = connection(path);
    EXPECT_EQ(ox_jrpcapi_connect(api), error) << path;
    EXPECT_EQ(ox_jrpcapi_get_socket_err(api), error) << path;
    EXPECT_EQ(ox_jrpcapi_socket(api), nullptr) << path;
    EXPECT_STRNE(ox_socket_strerror(error), "") << path;
}

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
    };
    for (const BadDestination& row : rows) {
        expect_failure(row.path, row.error);
    }
    EXPECT_STREQ(ox_socket_strerror(OX_SOCKET_ESYSTEM), "Protocol wrong type for socket");
}

#ifdef __mips__
// Whether a socket's errors have this architecture's numbers: an emulator may give its host's.
bool socket_errors_are_ours() {
    Fd tried(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
    struct sockaddr_in closed = {};
    closed.sin_family = AF_INET;
    closed.sin_port = htons(1);
    closed.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(tried.get(), reinterpret_cast<struct sockaddr*>(&closed), sizeof(closed)) == 0 ||
        errno != EINPROGRESS) {
        return errno == ECONNREFUSED;
    }
    struct pollfd written = {tried.get(), POLLOUT, 0};
    int error = 0;
    socklen_t size = sizeof(error);
    return poll(&written, 1, -1) == 1 && getsockopt(tried.get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 &&
           error == ECONNREFUSED;
}
#endif

TEST(JrpcApi, APortThatNobodyListensAtRefuses) {
#ifdef __mips__
    if (!socket_errors_are_ours()) {
        GTEST_SKIP() << "the emulator gives errors of sockets as its host numbers them";
    }
#endif
    expect_failure("tcp://127.0.0.1:1", OX_SOCKET_EREFUSED);
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

MsgRef own_id(const char* id) {
    std::string text = R"({"jsonrpc":"2.0","method":"Own","id":)" + std::string(id) + "}";
    JsonRef json(json_loads(text.c_str(), 0, nullptr));
    return MsgRef(ox_jrpcmsg_parse_json(json));
}

TEST(JrpcApi, AnIdOfAnAbandonedRequestMeansANewConnection) {
    TempDir dir;
    std::string seen;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer old = self.accept();
        old.line();                                 // id 1 is not answered in time
        seen += Peer::id_of(old.serve("\"two\""));  // another id stays on the connection
        Peer fresh = self.accept();
        old.say(Peer::answer("1", "\"late\""));
        seen += " " + Peer::id_of(fresh.serve("\"own\""));
        seen += " " + Peer::id_of(fresh.serve("\"next\""));
    });
    Api api = connection(dir / "s", 50);
    MsgRef abandoned = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, abandoned), OX_SOCKET_ETIMEOUT);
    ox_jrpcapi_set_timeout(api, 5000);
    MsgRef other = own_id("\"1\"");
    EXPECT_EQ(ox_jrpcapi_exec(api, other), 0);
    EXPECT_EQ(result_of(other), "\"two\"");
    MsgRef raw = own_id("1");
    EXPECT_EQ(ox_jrpcapi_exec(api, raw), 0);
    EXPECT_EQ(result_of(raw), "\"own\"");
    MsgRef next = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, next), 0);
    EXPECT_EQ(result_of(next), "\"next\"");
    daemon.join();
    EXPECT_EQ(seen, "\"1\" 1 2");
}

TEST(JrpcApi, AnAnsweredIdMayBeUsedAgain) {
    TempDir dir;
    std::atomic<bool> timed_out{false};
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        std::string id = Peer::id_of(peer.line());
        while (!timed_out) usleep(1000);
        peer.say(Peer::answer(id, "\"late\""));
        peer.serve();
        peer.serve("\"own\"");
    });
    Api api = connection(dir / "s", 20);
    MsgRef abandoned = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, abandoned), OX_SOCKET_ETIMEOUT);
    timed_out = true;
    ox_jrpcapi_set_timeout(api, 5000);
    MsgRef second = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, second), 0);
    MsgRef raw = own_id("1");  // its late answer has come
    EXPECT_EQ(ox_jrpcapi_exec(api, raw), 0);
    EXPECT_EQ(result_of(raw), "\"own\"");
}

TEST(JrpcApi, TheLibrarysNumbersPassByAnAbandonedId) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        peer.line();
        std::string id = Peer::id_of(peer.line());
        peer.say(Peer::answer("1", "\"late\"") + Peer::answer(id, "\"mine\""));
    });
    Api api = connection(dir / "s", 20);
    MsgRef abandoned = own_id("1");
    EXPECT_EQ(ox_jrpcapi_exec(api, abandoned), OX_SOCKET_ETIMEOUT);
    ox_jrpcapi_set_timeout(api, 5000);
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
    EXPECT_EQ(result_of(message), "\"mine\"");
}

TEST(JrpcApi, ALongWaitIsTold) {
    static std::string told;
    static std::atomic<bool> telling;
    told = "";
    telling = false;
    ox_jrpcapi_on_slow([](const char* what) {
        told += what ? std::string(what) + " " : "end ";
        telling = true;
    });
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        Peer peer = self.accept();
        peer.serve();
        std::string id = Peer::id_of(peer.line());
        while (!telling) usleep(1000);
        EXPECT_EQ(told, "Slow ");
        peer.say(Peer::answer(id, "1"));
        peer.line();
    });
    Api api = connection(dir / "s", -1);
    MsgRef quick = request("Quick");
    EXPECT_EQ(ox_jrpcapi_exec(api, quick), 0);
    EXPECT_EQ(told, "");
    MsgRef slow = request("Slow");
    EXPECT_EQ(ox_jrpcapi_exec(api, slow), 0);
    EXPECT_EQ(told, "Slow end ");
    ox_jrpcapi_on_slow(nullptr);
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
        EXPECT_LT(ox_wait_now_ms() - begin, 4000);
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
        int error;
        const char* text;
    };
    const Row rows[] = {
        {"hello", -10, "Broken message"},
        {"[1]", -10, "Broken message"},
        {"{\"a\":}", -10, "Broken message"},
        {"\x15\x03\x03\x01\x02\x02", -9, "the other side speaks TLS"},
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
        EXPECT_EQ(ox_jrpcapi_exec(api, message), row.error) << row.bytes;
        EXPECT_EQ(message->error_code, row.error);
        EXPECT_STREQ(message->error_message, row.text);
        EXPECT_EQ(ox_jrpcapi_socket(api), nullptr);
        EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);  // a new connection
    }
}

int mismatches = 0;

TEST(JrpcApi, PlainTextToTlsIsToldOnceItIsKnown) {
    TempDir dir;
    ScriptedDaemon daemon(dir / "s", [&](ScriptedDaemon& self) {
        for (const char* answer : {"\x15\x03\x03", "hello", "", "\x15\x03\x03"}) {
            Peer peer = self.accept();
            peer.line();
            if (!*answer) peer.say("{\"jsonrpc\":\"2.0\",\"id\":3,\"result\":{}}");
            peer.say(*answer ? answer : "?");
            peer.line();
        }
    });
    ox_jrpcapi_on_mismatch([](ox_jrpcapi*) { ++mismatches; });
    Api api = connection(dir / "s");
    MsgRef message = request();
    EXPECT_EQ(ox_jrpcapi_exec(api, message), -9);
    EXPECT_EQ(mismatches, 1);
    EXPECT_EQ(ox_jrpcapi_exec(api, message), -10);
    EXPECT_EQ(ox_jrpcapi_exec(api, message), 0);
    EXPECT_EQ(ox_jrpcapi_exec(api, message), -10);
    EXPECT_EQ(ox_jrpcapi_exec(api, message), -9);  // what once answered was no mistake of the person's
    EXPECT_EQ(mismatches, 1);
    ox_jrpcapi_on_mismatch(nullptr);
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
    Api api = connection(dir / "s", 100000);
    MsgRef message(ox_jrpcmsg_create_new("A", json_pack("{s:s}", "x", std::string(20 << 20, 'x').c_str())));
    ASSERT_EQ(ox_jrpcapi_exec(api, message), 0);
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

}  // namespace
