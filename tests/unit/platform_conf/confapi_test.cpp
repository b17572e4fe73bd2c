#include <gtest/gtest.h>

#include <string>

#include "ox_colors.hpp"
#include "ox_conf_path.hpp"
#include "ox_confapi.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_raii.hpp"
#include "scripted_daemon.hpp"

namespace {

std::string dump(const json_t* json) {
    CharsRef text(json_dumps(json, JSON_COMPACT | JSON_ENCODE_ANY));
    return text ? text.get() : "(null)";
}

std::string refusal(const std::string& id, const std::string& error) {
    return R"({"jsonrpc":"2.0","id":)" + id + R"(,"error":)" + error + "}\n";
}

/// A context whose daemon answers each request with the next of the given texts: a result, or "!" and an
/// error.
class Context {
public:
    explicit Context(std::vector<std::string> answers)
        : daemon_(
              dir_ / "s",
              [this, answers](ScriptedDaemon& self) {
                  Peer peer = self.accept();
                  for (const std::string& answer : answers) {
                      std::string request = peer.line();
                      seen_ += request + "\n";
                      std::string id = Peer::id_of(request);
                      peer.say(answer[0] == '!' ? refusal(id, answer.substr(1)) : Peer::answer(id, answer));
                  }
              }),
          api_(ox_jrpcapi_init()) {
        ox_jrpcapi_set_destination(api_, nullptr, (dir_ / "s").c_str(), OX_SOCKET_LOCAL);
        ox_confapi_set_ctx(api_);
    }
    ~Context() {
        ox_confapi_set_ctx(nullptr);
        ox_jrpcapi_deinit(api_);
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    std::string seen() {
        daemon_.join();
        return seen_;
    }

private:
    TempDir dir_;
    std::string seen_;
    ScriptedDaemon daemon_;
    ox_jrpcapi* api_;
};

TEST(ConfApi, QueriesAskAndUnpack) {
    Context context({R"({"ParameterList":[{"Name":"A.B","Value":"v"}]})", R"({"ParameterList":[]})",
                     R"({"Config":{"A":{"B":1}}})", R"({"Matches":{"A.1":{"B":1}}})", "{}"});
    JsonRef value(ox_confapi_getconfig("A.B"));
    EXPECT_EQ(dump(value), "\"v\"");
    testing::internal::CaptureStdout();
    JsonRef none(ox_confapi_getconfig("A.C"));
    EXPECT_EQ(none.get(), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[-10] Incomplete answer: Value\n");
    JsonRef config(_ox_confapi_getconfig_fullpath("A", 0));
    EXPECT_EQ(dump(config), R"({"A":{"B":1}})");
    JsonRef matches(ox_confapi_select_new("A.*", 0, 0));
    EXPECT_EQ(dump(matches), R"({"A.1":{"B":1}})");
    JsonRef missing(ox_confapi_select_new("", 0, 0));
    EXPECT_EQ(missing.get(), nullptr);
    const ox_jrpcmsg* failed = ox_confapi_get_last_message(nullptr);
    ASSERT_NE(failed, nullptr);
    EXPECT_EQ(failed->error_code, -10);
    EXPECT_STREQ(failed->error_detail, "Matches");
    EXPECT_EQ(context.seen(),
              R"({"jsonrpc":"2.0","id":1,"method":"GetParameterValues","params":{"ParameterNames":["A.B"]}}
{"jsonrpc":"2.0","id":2,"method":"GetParameterValues","params":{"ParameterNames":["A.C"]}}
{"jsonrpc":"2.0","id":3,"method":"GetConfig","params":{"Path":"A"}}
{"jsonrpc":"2.0","id":4,"method":"Select","params":{"Selector":"A.*"}}
{"jsonrpc":"2.0","id":5,"method":"Select","params":{"Selector":""}}
)");
}

TEST(ConfApi, FailuresArePrintedUnlessIgnored) {
    ox_colors_toggle(0);
    std::string error = R"(!{"code":9005,"message":"Invalid name","data":{"Detail":"A.B","X":"x","Y":1}})";
    Context context({error, error, R"(!{"code":9002})", error, error});
    testing::internal::CaptureStdout();
    JsonRef first(ox_confapi_getconfig("A.B"));
    ox_confapi_ignore_next_error_exec(1);
    JsonRef second(ox_confapi_getconfig("A.B"));
    MsgRef message(ox_jrpcmsg_cmd_get_datamodel_new(json_array(), -1));
    EXPECT_LT(ox_confapi_exec(message), 0);
    EXPECT_EQ(message->error_code, 9002);
    JsonRef silent(_ox_confapi_getconfig_fullpath("A", 0));
    JsonRef select(ox_confapi_select_new("A", 0, 0));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "[9005] Invalid name: A.B\nX: \"x\"\nY: 1\n"
              "[9002] \n");
    ASSERT_NE(ox_confapi_get_last_message(nullptr), nullptr);
    EXPECT_EQ(ox_confapi_get_last_message(nullptr)->error_code, 9005);
    EXPECT_STREQ(ox_confapi_get_last_message(nullptr)->error_detail, "A.B");
    EXPECT_EQ(ox_jrpcmsg_typeof(ox_confapi_get_last_message(nullptr)), OX_JRPCMSG_ERROR);
}

TEST(ConfApi, AnIncompleteAnswerIsAFailureOfTheQueryForAValue) {
    ox_colors_toggle(0);
    Context context({"{}", "{}", R"({"ParameterList":[]})", "{}"});
    testing::internal::CaptureStdout();
    EXPECT_EQ(ox_confapi_getconfig("A"), nullptr);
    for (int i = 0; i < 2; i++) {
        ox_confapi_ignore_next_error_exec(1);
        EXPECT_EQ(ox_confapi_getconfig("A"), nullptr);
    }
    EXPECT_EQ(_ox_confapi_getconfig_fullpath("A", 0), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[-10] Incomplete answer: ParameterList\n");
}

TEST(ConfApi, AFailedExchangeIsReportedWithItsSocketError) {
    ox_colors_toggle(0);
    ox_jrpcapi* api = ox_jrpcapi_init();
    ox_jrpcapi_set_destination(api, nullptr, "/nonexistent/socket", OX_SOCKET_LOCAL);
    ox_confapi_set_ctx(api);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ox_confapi_getconfig("A"), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[-5] No such socket\n");
    ox_confapi_set_ctx(nullptr);
    EXPECT_EQ(ox_confapi_getconfig("A"), nullptr);  // no connection at all
    ox_jrpcapi_deinit(api);
}

struct Canon {
    const char* in;
    const char* out;
};

TEST(ConfPath, Canonical) {
    const Canon rows[] = {
        {"", ""},
        {".", ""},
        {":", ""},
        {":Device", "Device"},
        {"Device.", "Device"},
        {"..Device..Hosts..", "Device.Hosts"},
        {":.Device.Hosts", "Device.Hosts"},
        {"Device.Hosts.<", "Device"},
        {"Device.Hosts.<.WiFi", "Device.WiFi"},
        {"Device.Hosts.Host.<<<", ""},
        {"Device.<<<<.A", "A"},
        {"Device.Hosts.Host.*.IPAddress", "Device.Hosts.Host.#template.IPAddress"},
        {"A.**", "A.**"},
        {"A.<x", "A.<x"},
    };
    for (const Canon& row : rows) {
        char out[OX_CONF_PATH_SIZE];
        EXPECT_EQ(ox_conf_path_canonize(0, row.in, out), 0) << row.in;
        EXPECT_STREQ(out, row.out) << row.in;
    }
    char out[OX_CONF_PATH_SIZE];
    EXPECT_EQ(ox_conf_path_canonize(0, std::string(256, 'a').c_str(), out), 0);
    EXPECT_EQ(strlen(out), 256U);
    EXPECT_EQ(ox_conf_path_canonize(0, std::string(257, 'a').c_str(), out), -1);
    EXPECT_STREQ(out, "");
    std::string stars;
    for (int i = 0; i < 100; ++i) stars += "*.";
    EXPECT_EQ(ox_conf_path_canonize(0, stars.c_str(), out), -1);
    EXPECT_STREQ(out, "");
}

struct Strip {
    const char* path;
    const char* bare;
    const char* dotted;
};

TEST(ConfPath, StripsTheLastComponent) {
    const Strip rows[] = {
        {"A.B.C", "A.B", "A.B."},
        {"A.B.C.", "A.B", "A.B."},
        {"A", "", ""},
        {"A.", "", ""},
        {"", "", ""},
        {".", "", ""},
        {"A..B", "A", "A."},
    };
    for (const Strip& row : rows) {
        std::string path = row.path;
        ox_conf_strip_path_adv(path.data(), 0, 0);
        EXPECT_STREQ(path.c_str(), row.bare) << row.path;
        path = std::string(row.path) + '\0';
        ox_conf_strip_path_adv(path.data(), 0, 1);
        EXPECT_STREQ(path.c_str(), row.dotted) << row.path;
    }
}

TEST(ConfPath, FindsBranches) {
    JsonRef tree(json_loads(R"({"A":{"B":{"1":5}}})", 0, nullptr));
    EXPECT_EQ(dump(ox_conf_find_branch(tree, "A.B.1")), "5");
    EXPECT_EQ(dump(ox_conf_find_branch(tree, ".A..B.")), R"({"1":5})");
    EXPECT_EQ(ox_conf_find_branch(tree, ""), tree.get());
    EXPECT_EQ(ox_conf_find_branch(tree, "A.C"), nullptr);
    EXPECT_EQ(ox_conf_find_branch(tree, "A.B.1.x"), nullptr);
    EXPECT_EQ(ox_conf_find_branch(nullptr, "A"), nullptr);
}

}  // namespace
