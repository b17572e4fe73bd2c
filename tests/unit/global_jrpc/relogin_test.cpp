// What a connection keeps when it is lost and opened again: login, groups, token.
#include "connection_helpers.hpp"
#include "ox_jrpccmd.hpp"

namespace {

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
    const char* token_answer;  // to a request with a token; null: there is none
    bool expected;
};

TEST(JrpcApi, LogsInAgainOnlyWhereItShould) {
    const Relogin rows[] = {
        {"after a login", 1, false, false, nullptr, true},
        {"flag cleared", 0, false, false, nullptr, false},
        {"login refused", 1, true, false, nullptr, false},
        {"logged out", 1, false, true, nullptr, false},
        {"token accepted", 1, false, false, R"("result":{})", false},
        {"token accepted, request refused", 1, false, false, R"("error":{"code":9005})", false},
        {"token unknown", 1, false, false, R"("error":{"code":9001})", true},
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
            if (row.token_answer) {
                peer.line();
                peer.say(std::string(R"({"jsonrpc":"2.0","id":2,)") + row.token_answer + "}");
            }
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
        if (row.token_answer) {
            ox_jrpcapi_set_auth(api, 0, "token", 0, 5000);
            EXPECT_EQ(ox_jrpcapi_exec(api, message), 0) << row.name;
            ox_jrpcapi_set_auth(api, 0, "", 0, 5000);
        }
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

}  // namespace
