#include <gtest/gtest.h>

#include <string>

#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_raii.hpp"

namespace {

std::string text_of(const ox_jrpcmsg* message) {
    JsonRef json(ox_jrpcmsg_json(message));
    CharsRef text(json_dumps(json, JSON_COMPACT | JSON_ENCODE_ANY));
    return text ? text.get() : "(null)";
}

std::string sent(ox_jrpcmsg* built) {
    MsgRef message(built);
    return text_of(message);
}

MsgRef parse(const char* text) {
    JsonRef json(json_loads(text, JSON_DECODE_ANY, nullptr));
    return MsgRef(ox_jrpcmsg_parse_json(json));
}

json_t* names(const char* name) {
    return json_pack("[s]", name);
}

struct Built {
    ox_jrpcmsg* message;
    const char* text;
};

TEST(JrpcMsg, BuildersMakeTheRequestsOfTheProtocol) {
    ox_jrpcmsg* set = ox_jrpcmsg_cmd_set_parameter_values_new(nullptr);
    EXPECT_EQ(ox_jrpcmsg_cmd_set_parameter_values_add_new(set, "A.B", json_integer(3)), 0);
    EXPECT_EQ(ox_jrpcmsg_cmd_set_parameter_values_add_new(set, "A.C", nullptr), 0);
    ox_jrpcmsg* execute = ox_jrpcmsg_cmd_execute_new("A.M", nullptr);
    EXPECT_EQ(ox_jrpcmsg_cmd_set_parameter_values_add_new(execute, "X", json_true()), 0);
    ox_jrpcmsg* ignoring = ox_jrpcmsg_cmd_get_parameter_values_new(names("."));
    EXPECT_EQ(ox_jrpcmsg_add_parameter_json_new(ignoring, "IgnoreAccessError", json_true()), 0);
    ox_jrpcmsg* bare = ox_jrpcmsg_create_new("Logout", nullptr);
    EXPECT_EQ(ox_jrpcmsg_add_parameter_json_new(bare, "A", json_integer(1)), 0);
    EXPECT_EQ(ox_jrpcmsg_add_parameter_json_new(bare, "B", nullptr), -1);
    const Built rows[] = {
        {ox_jrpcmsg_create_new("Reboot", nullptr), R"("method":"Reboot"})"},
        {ox_jrpcmsg_create_new("Reboot", json_pack("{s:b}", "Force", 1)),
         R"("method":"Reboot","params":{"Force":true}})"},
        {bare, R"("method":"Logout","params":{"A":1}})"},
        {ox_jrpcmsg_cmd_get_parameter_values_new(names("A.")),
         R"("method":"GetParameterValues","params":{"ParameterNames":["A."]}})"},
        {ignoring,
         R"("method":"GetParameterValues","params":{"ParameterNames":["."],"IgnoreAccessError":true}})"},
        {set,
         R"("method":"SetParameterValues","params":{"ParameterList":[{"Name":"A.B","Value":3},{"Name":"A.C","Value":null}]}})"},
        {ox_jrpcmsg_cmd_get_parameter_names("A.", 1),
         R"("method":"GetParameterNames","params":{"ParameterPath":"A.","NextLevel":true}})"},
        {ox_jrpcmsg_cmd_get_parameter_attributes_new(names("A.B")),
         R"("method":"GetParameterAttributes","params":{"ParameterNames":["A.B"],"Level":-1}})"},
        {ox_jrpcmsg_cmd_get_parameter_attributes_new(names("A.B"), 0),
         R"("method":"GetParameterAttributes","params":{"ParameterNames":["A.B"],"Level":0}})"},
        {ox_jrpcmsg_cmd_get_datamodel_new(names("A."), -1),
         R"("method":"GetDataModel","params":{"ParameterNames":["A."],"Level":-1}})"},
        {ox_jrpcmsg_cmd_add_object("A.B."), R"("method":"AddObject","params":{"ObjectName":"A.B."}})"},
        {ox_jrpcmsg_cmd_delete_object("A.B.1."),
         R"("method":"DeleteObject","params":{"ObjectName":"A.B.1."}})"},
        {execute,
         R"("method":"Execute","params":{"Path":"A.M","ParameterList":[{"Name":"X","Value":true}]}})"},
        {ox_jrpcmsg_cmd_join_group(4), R"("method":"JoinGroup","params":{"Group":4}})"},
    };
    for (const Built& row : rows) {
        EXPECT_EQ(ox_jrpcmsg_typeof(row.message), OX_JRPCMSG_REQUEST);
        EXPECT_EQ(sent(row.message), std::string(R"({"jsonrpc":"2.0","id":0,)") + row.text);
    }
}

TEST(JrpcMsg, EventsCarryTheirGroup) {
    MsgRef event(ox_jrpcmsg_create_event_new(4294967295U, json_pack("[i]", 1)));
    EXPECT_EQ(event->group, 4294967295U);
    EXPECT_EQ(ox_jrpcmsg_typeof(event), OX_JRPCMSG_EVENT);
    EXPECT_EQ(text_of(event), R"({"jsonrpc":"2.0","method":"Event","group":4294967295,"params":[1]})");
    EXPECT_EQ(sent(ox_jrpcmsg_create_event_new(0, nullptr)),
              R"({"jsonrpc":"2.0","method":"Event","group":0})");
}

struct Kind {
    const char* text;
    int kind;
};

TEST(JrpcMsg, KindsOfParsedMessages) {
    const Kind rows[] = {
        {R"({"jsonrpc":"2.0","id":1,"method":"A"})", OX_JRPCMSG_REQUEST},
        {R"({"jsonrpc":"2.0","id":"x","method":"A","params":{},"auth":"t"})", OX_JRPCMSG_REQUEST},
        {R"({"jsonrpc":"2.0","id":null,"method":"A","params":[]})", OX_JRPCMSG_REQUEST},
        {R"({"jsonrpc":"2.0","method":"A"})", OX_JRPCMSG_NOTIFICATION},
        {R"({"jsonrpc":"2.0","method":"Event"})", OX_JRPCMSG_NOTIFICATION},
        {R"({"jsonrpc":"2.0","method":"A","group":4})", OX_JRPCMSG_NOTIFICATION},
        {R"({"jsonrpc":"2.0","id":1,"method":"A","result":1})", 0},
        {R"({"jsonrpc":"2.0","id":1,"method":"A","error":{"code":1}})", 0},
        {R"({"jsonrpc":"2.0","method":"Event","group":1})", OX_JRPCMSG_EVENT},
        {R"({"jsonrpc":"2.0","method":"Event","group":7,"params":3})", OX_JRPCMSG_EVENT},
        {R"({"jsonrpc":"2.0","id":1,"error":{"code":5}})", OX_JRPCMSG_ERROR},
        {R"({"jsonrpc":"2.0","id":1,"result":null})", OX_JRPCMSG_RESULT},
        {R"({"jsonrpc":"2.0","method":"Event","group":0})", 0},
        {R"({"jsonrpc":"2.0","method":"Event","group":4294967296})", 0},
        {R"({"jsonrpc":"2.0","method":"Event","group":"4"})", 0},
        {R"({"jsonrpc":"1.0","id":1,"method":"A"})", 0},
        {R"({"id":1,"method":"A"})", 0},
        {R"({"jsonrpc":"2.0","id":1,"method":5})", 0},
        {R"({"jsonrpc":"2.0","id":{},"method":"A"})", 0},
        {R"({"jsonrpc":"2.0","id":1,"method":"A","params":"x"})", 0},
        {R"({"jsonrpc":"2.0","id":1,"method":"A","auth":5})", 0},
        {R"({"jsonrpc":"2.0","id":1,"error":{"message":"m"}})", 0},
        {R"({"jsonrpc":"2.0","id":1,"error":5})", 0},
        {R"({"jsonrpc":"2.0","id":1,"error":{"code":1},"result":1})", 0},
        {R"({"jsonrpc":"2.0","id":1})", 0},
        {R"({"jsonrpc":"2.0","result":1})", 0},
        {"[]", 0},
        {"5", 0},
        {"{}", 0},
    };
    for (const Kind& row : rows) {
        MsgRef message = parse(row.text);
        EXPECT_EQ(ox_jrpcmsg_typeof(message), row.kind) << row.text;
        EXPECT_EQ(message.get() != nullptr, row.kind != 0) << row.text;
    }
    EXPECT_EQ(ox_jrpcmsg_parse_json(nullptr), nullptr);
}

TEST(JrpcMsg, ResponsesFoldIntoTheirRequest) {
    MsgRef message(ox_jrpcmsg_create_new("A", nullptr));
    JsonRef error(json_loads(R"({"jsonrpc":"2.0","id":9,"error":{"code":9003,"message":"m",
        "data":{"B":2,"Detail":"d","A":"1"}}})",
                             0, nullptr));
    ox_jrpcmsg_take_response(message, error);
    EXPECT_EQ(ox_jrpcmsg_typeof(message), OX_JRPCMSG_ERROR);
    EXPECT_EQ(message->error_code, 9003);
    EXPECT_STREQ(message->error_message, "m");
    EXPECT_STREQ(message->error_detail, "d");
    CharsRef data(json_dumps(ox_jrpcmsg_get_errordata_json(message), JSON_COMPACT));
    EXPECT_STREQ(data, R"({"B":2,"A":"1"})");
    EXPECT_EQ(text_of(message), R"({"jsonrpc":"2.0","id":0,"method":"A","error":{"code":9003,"message":"m",)"
                                R"("data":{"B":2,"Detail":"d","A":"1"}}})");
    JsonRef result(json_loads(R"({"jsonrpc":"2.0","id":9,"result":{"x":1}})", 0, nullptr));
    ox_jrpcmsg_take_response(message, result);
    EXPECT_EQ(ox_jrpcmsg_typeof(message), OX_JRPCMSG_RESULT);
    EXPECT_EQ(message->error_code, 0);
    EXPECT_EQ(message->error_message, nullptr);
    EXPECT_EQ(message->error_detail, nullptr);
    EXPECT_EQ(ox_jrpcmsg_get_errordata_json(message), nullptr);
    EXPECT_EQ(text_of(message), R"({"jsonrpc":"2.0","id":0,"method":"A","result":{"x":1}})");
    ox_jrpcmsg_set_result_new(message, nullptr);
    EXPECT_EQ(ox_jrpcmsg_typeof(message), OX_JRPCMSG_REQUEST);
    EXPECT_EQ(ox_jrpcmsg_get_result_json(message), nullptr);
}

struct Code {
    const char* error;
    int code;
    const char* message;
    const char* detail;
    bool data;
};

TEST(JrpcMsg, OddErrorsAreErrors) {
    const Code rows[] = {
        {R"({"code":-7})", -7, nullptr, nullptr, false},
        {R"({"code":0})", -32603, nullptr, nullptr, false},
        {R"({"code":99999999999})", -32603, nullptr, nullptr, false},
        {R"({"code":5,"message":7})", 5, nullptr, nullptr, false},
        {R"({"code":5,"message":"","data":{}})", 5, "", nullptr, false},
        {R"({"code":5,"data":{"Detail":"d"}})", 5, nullptr, "d", false},
        {R"({"code":5,"data":{"Detail":7}})", 5, nullptr, nullptr, true},
        {R"({"code":5,"data":"text"})", 5, nullptr, nullptr, false},
    };
    for (const Code& row : rows) {
        MsgRef message =
            parse((std::string(R"({"jsonrpc":"2.0","id":1,"error":)") + row.error + "}").c_str());
        ASSERT_NE(message.get(), nullptr) << row.error;
        EXPECT_EQ(message->error_code, row.code) << row.error;
        EXPECT_STREQ(message->error_message, row.message) << row.error;
        EXPECT_STREQ(message->error_detail, row.detail) << row.error;
        EXPECT_EQ(message->error_data != nullptr, row.data) << row.error;
    }
}

TEST(JrpcMsg, RecordsFailuresOfTheExchange) {
    MsgRef message(ox_jrpcmsg_create_new("A", nullptr));
    ox_jrpcmsg_set_error(message, -11, "Timed out", nullptr);
    EXPECT_EQ(text_of(message),
              R"({"jsonrpc":"2.0","id":0,"method":"A","error":{"code":-11,"message":"Timed out"}})");
    ox_jrpcmsg_set_error(message, -9, "t", "d");
    EXPECT_STREQ(message->error_detail, "d");
    EXPECT_EQ(message->error_code, -9);
}

TEST(JrpcMsg, ParsingLeavesTheCallersValueAlone) {
    JsonRef json(json_loads(R"({"jsonrpc":"2.0","id":5,"method":"A"})", 0, nullptr));
    MsgRef message(ox_jrpcmsg_parse_json(json));
    ox_jrpcmsg_set_error(message, 1, "x", nullptr);
    EXPECT_EQ(json_object_size(json), 3U);
}

TEST(JrpcMsg, TextsThatAreNoUtf8AreSentAll) {
    EXPECT_EQ(sent(ox_jrpcmsg_cmd_add_object("A\xff.\xc3\xa9\xc3")),
              "{\"jsonrpc\":\"2.0\",\"id\":0,\"method\":\"AddObject\",\"params\":{\"ObjectName\":"
              "\"A\xEF\xBF\xBD.\xc3\xa9\xEF\xBF\xBD\"}}");
}

TEST(JrpcMsg, NullIsSafe) {
    ox_jrpcmsg_free(nullptr);
    EXPECT_EQ(ox_jrpcmsg_typeof(nullptr), 0);
    EXPECT_EQ(ox_jrpcmsg_json(nullptr), nullptr);
    EXPECT_EQ(ox_jrpcmsg_get_result_json(nullptr), nullptr);
    EXPECT_EQ(ox_jrpcmsg_get_params_json(nullptr), nullptr);
    EXPECT_EQ(ox_jrpcmsg_get_errordata_json(nullptr), nullptr);
    EXPECT_EQ(ox_jrpcmsg_add_parameter_json_new(nullptr, "a", json_true()), -1);
}

}  // namespace
