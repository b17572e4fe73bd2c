#include "requests/response.hpp"

#include <gtest/gtest.h>

#include "bounds.hpp"
#include "owners.hpp"

namespace {

using namespace obxd;

std::string response(json_t* id, Answer answer) {
    obxd::JsonRef owned(id);
    return response_text(id, std::move(answer)).str();
}

TEST(Responses, Results) {
    EXPECT_EQ(response(json_integer(7), answer_result()), "{\"jsonrpc\":\"2.0\",\"id\":7,\"result\":{}}\n");
    EXPECT_EQ(response(json_string("a"), answer_result(json_pack("{s:f}", "b", 0.1))),
              "{\"jsonrpc\":\"2.0\",\"id\":\"a\",\"result\":{\"b\":0.1}}\n");
    Text text;
    text.append("{\"c\":[]}");
    EXPECT_EQ(response(json_integer(8), answer_text(std::move(text))),
              "{\"jsonrpc\":\"2.0\",\"id\":8,\"result\":{\"c\":[]}}\n");
    EXPECT_EQ(response(json_null(), Answer()), "{\"jsonrpc\":\"2.0\",\"id\":null,\"result\":{}}\n");
}

TEST(Responses, Faults) {
    EXPECT_EQ(response(json_integer(1), answer_fault(FAULT_REQUEST_DENIED, "")),
              "{\"jsonrpc\":\"2.0\",\"id\":1,\"error\":{\"code\":9001,\"message\":\"Request denied\"}}\n");
    EXPECT_EQ(
        response(json_integer(1), answer_fault(FAULT_INVALID_VALUE, "why", json_pack("{s:i}", "P", 2))),
        "{\"jsonrpc\":\"2.0\",\"id\":1,\"error\":{\"code\":9007,\"message\":\"Invalid parameter value\","
        "\"data\":{\"Detail\":\"why\",\"P\":2}}}\n");
}

TEST(Responses, OneThatIsTooLongBecomesAFault) {
    json_t* result = json_pack("{s:o}", "text", json_string(std::string(MAX_MESSAGE, 'x').c_str()));
    EXPECT_EQ(response(json_integer(3), answer_result(result)),
              "{\"jsonrpc\":\"2.0\",\"id\":3,\"error\":{\"code\":9004,\"message\":\"Resources exceeded\","
              "\"data\":{\"Detail\":\"The answer is longer than 64 MiB\"}}}\n");
    Answer cut;
    cut.cut = true;
    EXPECT_EQ(response(json_integer(4), std::move(cut)),
              "{\"jsonrpc\":\"2.0\",\"id\":4,\"error\":{\"code\":9004,\"message\":\"Resources exceeded\","
              "\"data\":{\"Detail\":\"The answer is longer than 64 MiB\"}}}\n");
}

}  // namespace
