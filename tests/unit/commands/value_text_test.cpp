#include <gtest/gtest.h>

#include "commands/words.hpp"
#include "ox_raii.hpp"

namespace {

struct TextCase {
    json_type type;
    const char* text;
    const char* expected;  // JSON; null: the text does not fit
};

class ValueFromText : public testing::TestWithParam<TextCase> {};

TEST_P(ValueFromText, FollowsTheTypeOfTheDefault) {
    const TextCase& c = GetParam();
    JsonRef value(value_from_text(c.text, c.type));
    if (!c.expected) {
        EXPECT_EQ(value.get(), nullptr) << c.text;
        return;
    }
    ASSERT_NE(value.get(), nullptr) << c.text;
    CharsRef dumped(json_dumps(value, JSON_ENCODE_ANY));
    EXPECT_STREQ(dumped, c.expected) << c.text;
}

const TextCase cases[] = {
    {JSON_STRING, "", R"("")"},
    {JSON_STRING, "plain", R"("plain")"},
    {JSON_STRING, "\"quoted\"", R"("\"quoted\"")"},
    {JSON_STRING, "a=b", R"("a=b")"},
    {JSON_STRING, "\xff", nullptr},
    {JSON_TRUE, "true", "true"},
    {JSON_TRUE, "TRUE", "true"},
    {JSON_FALSE, "False", "false"},
    {JSON_FALSE, "tRuE", "true"},
    {JSON_TRUE, "1", nullptr},
    {JSON_TRUE, "0", nullptr},
    {JSON_TRUE, "yes", nullptr},
    {JSON_TRUE, "on", nullptr},
    {JSON_TRUE, "", nullptr},
    {JSON_TRUE, "truely", nullptr},
    {JSON_FALSE, "falsehood", nullptr},
    {JSON_INTEGER, "0", "0"},
    {JSON_INTEGER, "-12", "-12"},
    {JSON_INTEGER, "0x10", "16"},
    {JSON_INTEGER, "010", "8"},
    {JSON_INTEGER, "4294967295", "4294967295"},
    {JSON_INTEGER, "9223372036854775807", "9223372036854775807"},
    {JSON_INTEGER, "-9223372036854775808", "-9223372036854775808"},
    {JSON_INTEGER, "0x7fffffffffffffff", "9223372036854775807"},
    {JSON_INTEGER, "9223372036854775808", nullptr},
    {JSON_INTEGER, "0xffffffffffffffff", nullptr},
    {JSON_INTEGER, "18446744073709551616", nullptr},
    {JSON_INTEGER, "-9223372036854775809", nullptr},
    {JSON_INTEGER, "1.5", nullptr},
    {JSON_INTEGER, "", nullptr},
    {JSON_INTEGER, "12x", nullptr},
    {JSON_INTEGER, "09", nullptr},
    {JSON_INTEGER, "0x", nullptr},
    {JSON_REAL, "1.5", "1.5"},
    {JSON_REAL, "-2", "-2.0"},
    {JSON_REAL, "1e3", "1000.0"},
    {JSON_REAL, "", nullptr},
    {JSON_REAL, "1,5", nullptr},
    {JSON_REAL, "1.5 ", nullptr},
    {JSON_REAL, "nan", nullptr},
    {JSON_REAL, "inf", nullptr},
    {JSON_OBJECT, "{}", nullptr},
    {JSON_ARRAY, "[]", nullptr},
    {JSON_NULL, "null", nullptr},
};
INSTANTIATE_TEST_SUITE_P(Types, ValueFromText, testing::ValuesIn(cases));

}  // namespace
