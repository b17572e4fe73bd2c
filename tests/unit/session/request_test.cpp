// The exchange of one request, over a connection that is played by the test, and the report of its outcome.
#include "session/request.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ox_colors.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_raii.hpp"

namespace {

std::vector<int> timeouts;  // of each exchange
std::vector<int> results;   // socket errors to come
int timeout_now;
int last_error;

}  // namespace

void ox_jrpcapi_set_timeout(ox_jrpcapi*, int timeout_ms) {
    timeout_now = timeout_ms;
}
int ox_jrpcapi_get_socket_err(const ox_jrpcapi*) {
    return last_error;
}
int ox_jrpcapi_exec(ox_jrpcapi*, ox_jrpcmsg* message) {
    EXPECT_EQ(message->error_code, 0) << "an earlier failure is still there";
    timeouts.push_back(timeout_now);
    last_error = timeouts.size() <= results.size() ? results[timeouts.size() - 1] : 0;
    if (last_error < 0) ox_jrpcmsg_set_error(message, last_error, "failed", nullptr);
    return last_error;
}
int ox_jrpcapi_exec_list(ox_jrpcapi* api, ox_jrpcmsg* message, const ox_list_taker*) {
    return ox_jrpcapi_exec(api, message);
}
bool ox_jrpcapi_is_too_large(const ox_jrpcapi*, const ox_jrpcmsg*) {
    return false;
}
void ox_colors_set(int kind) {
    printf("<%d>", kind);
}
void ox_colors_reset(void) {
    printf("</>");
}

namespace {

void exec(ox_jrpcmsg* message, int timeout_ms, std::vector<int> errors) {
    timeouts.clear();
    results = std::move(errors);
    timeout_now = 0;
    request_exec(message, timeout_ms);
}

TEST(RequestExec, TheTimeoutHoldsForTheExchangeAndIs5000Afterwards) {
    for (int timeout : {-1, 0, 1000, 5000, 77777}) {
        for (int error : {0, -7, -11, -1}) {
            MsgRef message(ox_jrpcmsg_create_new("M", nullptr));
            exec(message, timeout, {error, error});
            for (int used : timeouts) EXPECT_EQ(used, timeout);
            EXPECT_EQ(timeout_now, 5000);
        }
    }
}

TEST(RequestExec, OnlyALostConnectionIsTriedAgainOnce) {
    const struct {
        std::vector<int> errors;
        size_t count;
        int outcome;
    } rows[] = {
        {{0}, 1, 0},   {{-7}, 2, 0},    {{-7, -7}, 2, -7}, {{-7, -11}, 2, -11}, {{-11}, 1, -11},
        {{-1}, 1, -1}, {{-10}, 1, -10}, {{-4}, 1, -4},     {{-9}, 1, -9},
    };
    for (const auto& row : rows) {
        MsgRef message(ox_jrpcmsg_create_new("M", nullptr));
        exec(message, -1, row.errors);
        EXPECT_EQ(timeouts.size(), row.count);
        EXPECT_EQ(message->error_code, row.outcome);
    }
}

TEST(RequestNew, TheCallerKeepsItsReference) {
    json_t* params = json_pack("{s:i}", "a", 1);
    {
        MsgRef message(request_new("M", params));
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(json_integer_value(json_object_get(ox_jrpcmsg_get_params_json(message), "a")), 1);
        EXPECT_GT(params->refcount, 1u);
    }
    EXPECT_EQ(params->refcount, 1u);
    json_decref(params);
    MsgRef without(request_new("M", nullptr));
    ASSERT_NE(without, nullptr);
    EXPECT_EQ(ox_jrpcmsg_get_params_json(without), nullptr);
}

std::string report(const char* response) {
    MsgRef message(ox_jrpcmsg_create_new("M", nullptr));
    JsonRef json(json_loads(response, 0, nullptr));
    EXPECT_TRUE(json) << response;
    ox_jrpcmsg_take_response(message, json);
    testing::internal::CaptureStdout();
    response_report(message);
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

TEST(ResponseReport, Texts) {
    const struct {
        const char* response;
        const char* text;
    } rows[] = {
        {R"({"jsonrpc":"2.0","id":1,"result":{}})", "Status: <2>OK\n</>"},
        {R"({"jsonrpc":"2.0","id":1,"error":{"code":9005,"message":"Bad"}})", "<1>[9005] Bad</>\n"},
        {R"({"jsonrpc":"2.0","id":1,"error":{"code":-5}})", "<1>[-5] </>\n"},
        {R"({"jsonrpc":"2.0","id":1,"error":{"code":5,"data":{"Detail":"d"}}})", "<1>[5] </>: d\n"},
        {R"({"jsonrpc":"2.0","id":1,"error":{"code":1,"message":"m","data":
            {"z":"text","Detail":"d","a":5,"o":{"k":[1,null]},"t":true}}})",
         "<1>[1] m</>: d\nz: \"text\"\na: 5\no: {\"k\": [1, null]}\nt: true\n"},
    };
    for (const auto& row : rows) EXPECT_EQ(report(row.response), row.text);
}

}  // namespace
