#include "model/value_format.hpp"

#include <gtest/gtest.h>

#include <string>

#include "capture.hpp"
#include "ox_raii.hpp"

namespace {

json_t* json_of(const std::string& text) {
    json_error_t error;
    json_t* json = json_loadb(text.data(), text.size(), JSON_DECODE_ANY | JSON_ALLOW_NUL, &error);
    EXPECT_NE(json, nullptr) << error.text << " in " << text;
    return json;
}

std::string formatted(const json_t* value, const json_t* node, Capture::Kind kind = Capture::FILE_OUTPUT) {
    return captured([=] { value_format(value, node); }, kind);
}

struct ValueCase {
    const char* value;
    const char* node;  // null: no schema node
    const char* expected;
};

class ValueFormat : public testing::TestWithParam<ValueCase> {};

TEST_P(ValueFormat, WritesTheNotationOfTheParameter) {
    const ValueCase& c = GetParam();
    JsonRef value(json_of(c.value));
    JsonRef node(c.node ? json_of(c.node) : nullptr);
    EXPECT_EQ(formatted(value, node), c.expected) << c.value << " as " << (c.node ? c.node : "nothing");
}

#define BASE(n) "{\"#attr\":{\"type\":\"unsignedInt\",\"base\":" #n "}}"

const ValueCase plain_values[] = {
    {R"("")", nullptr, "''"},
    {R"("a b")", nullptr, "'a b'"},
    {R"("it's")", nullptr, "'it's'"},
    {R"("two\nlines")", nullptr, "'two\nlines'"},
    {R"("\u00e9")", nullptr, "'\xc3\xa9'"},
    {"true", nullptr, "true"},
    {"false", nullptr, "false"},
    {"null", nullptr, "null"},
    {"1.5", nullptr, "1.5"},
    {"0.1", nullptr, "0.10000000000000001"},
    {"1e300", nullptr, "1.0000000000000001e300"},
    {"{}", nullptr, ""},
    {R"({"a": 1})", nullptr, ""},
    {"[]", nullptr, "[]"},
    {R"([1, "two", true, null])", nullptr, R"([1, "two", true, null])"},
    {R"([{"a": [1]}])", BASE(16), R"([{"a": [1]}])"},
};
INSTANTIATE_TEST_SUITE_P(Plain, ValueFormat, testing::ValuesIn(plain_values));

const ValueCase integers[] = {
    {"0", nullptr, "0"},
    {"-7", nullptr, "-7"},
    {"9223372036854775807", nullptr, "9223372036854775807"},
    {"-9223372036854775808", nullptr, "-9223372036854775808"},
    {"255", "{}", "255"},
    {"255", BASE(10), "255"},
    {"255", BASE(0), "255"},
    {"255", BASE(7), "255"},
    {"255", BASE("16"), "255"},
    {"0", BASE(8), "00"},
    {"8", BASE(8), "010"},
    {"-1", BASE(8), "01777777777777777777777"},
    {"0", BASE(16), "0x0"},
    {"255", BASE(16), "0xff"},
    {"-1", BASE(16), "0xffffffffffffffff"},
};
INSTANTIATE_TEST_SUITE_P(Integers, ValueFormat, testing::ValuesIn(integers));

// Digits from the lowest set bit's position down: what lies above it is lost.
const ValueCase binary[] = {
    {"0", BASE(2), "0b0"},
    {"1", BASE(2), "0b01"},
    {"2", BASE(2), "0b010"},
    {"3", BASE(2), "0b11"},
    {"4", BASE(2), "0b0100"},
    {"5", BASE(2), "0b01"},
    {"6", BASE(2), "0b110"},
    {"7", BASE(2), "0b11"},
    {"12", BASE(2), "0b1100"},
    {"128", BASE(2), "0b010000000"},
    {"-1", BASE(2), "0b11"},
    {"-9223372036854775808", BASE(2), "0b01000000000000000000000000000000000000000000000000000000000000000"},
    {"4611686018427387904", BASE(2), "0b0100000000000000000000000000000000000000000000000000000000000000"},
};
INSTANTIATE_TEST_SUITE_P(Binary, ValueFormat, testing::ValuesIn(binary));

TEST(ValueFormatTest, AbsentValuesWriteNothing) {
    EXPECT_EQ(formatted(nullptr, nullptr), "");
}

TEST(ValueFormatTest, ZeroBytesInsideAStringAreWritten) {
    JsonRef value(json_stringn("a\0b", 3));
    EXPECT_EQ(formatted(value, nullptr), std::string("'a\0b'", 5));
}

TEST(ValueFormatTest, ControlCharactersCannotSteerATerminal) {
    JsonRef text(json_string("a\x1b[2J\x7f\n"));
    EXPECT_EQ(formatted(text, nullptr), "'a\x1b[2J\x7f\n'");
    EXPECT_EQ(formatted(text, nullptr, Capture::TERMINAL_OUTPUT), "'a\\x1b[2J\\x7f\\x0a'");
    JsonRef list(json_pack("[s]", "b\x7f\xc2\x9b"));
    EXPECT_EQ(formatted(list, nullptr), "[\"b\x7f\xc2\x9b\"]");
    EXPECT_EQ(formatted(list, nullptr, Capture::TERMINAL_OUTPUT), "[\"b\\x7f\\xc2\\x9b\"]");
}

}  // namespace
