#include "requests/unfit.hpp"

#include <gtest/gtest.h>

#include "owners.hpp"

namespace {

using namespace obxd;

TEST(UnfitMessages, AreTakenForWhatTheyAre) {
    const struct {
        const char* text;
        bool unfit;
        const char* why;
    } rows[] = {
        {R"({"a":"b\u0000"})", true, "a text holds \\u0000"},
        {R"({"a\u0000":1})", true, "a text holds \\u0000"},
        {R"({"a":9223372036854775808})", true, "a number is beyond 64 bits: 9223372036854775808"},
        {R"({"a":1e999,"b":"\u0000"})", true, "a number is beyond 64 bits: 1e999"},
        {R"({"a":9223372036854775807})", false, ""},
        {R"({"a":"\\u0000"})", false, ""},
        {R"({"a":})", false, ""},
    };
    for (const auto& row : rows) {
        json_error_t where{};
        obxd::JsonRef message(json_loads(row.text, 0, &where));
        EXPECT_EQ(!message && unfit_is(where), row.unfit) << row.text;
        std::string why;
        std::string clean = unfit_clean(row.text, why);
        EXPECT_EQ(why, row.why) << row.text;
        if (!row.unfit) continue;
        obxd::JsonRef cleaned(json_loads(clean.c_str(), 0, &where));
        EXPECT_TRUE(cleaned) << clean << ": " << where.text;
    }
}

TEST(UnfitMessages, ATextThatWasAnotherOneIsSeen) {
    std::string why;
    std::string clean = unfit_clean(R"({"id":"a\u0000b","x":"c"})", why);
    obxd::JsonRef message(json_loads(clean.c_str(), 0, nullptr));
    EXPECT_TRUE(unfit_text(json_string_value(json_object_get(message, "id"))));
    EXPECT_FALSE(unfit_text(json_string_value(json_object_get(message, "x"))));
}

}  // namespace
