#include "one_line.hpp"

#include <gtest/gtest.h>

namespace {

TEST(OneLine, ControlCharactersAreWrittenOut) {
    using std::string_view_literals::operator""sv;
    const struct {
        std::string_view text, line;
    } rows[] = {
        {""sv, ""},
        {"plain \xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\x80"sv, "plain \xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\x80"},
        {"a\nb\r\tc"sv, "a\\x0ab\\x0d\\x09c"},
        {"\x1b]0;own\x07\x7f"sv, "\\x1b]0;own\\x07\\x7f"},
        {"a\0b"sv, "a\\x00b"},
        {"\xc2\x9b"
         "31m"sv,
         "\\xc2\\x9b31m"},
        {"\xc2\xa0 \xc2"sv, "\xc2\xa0 \xc2"},
    };
    for (const auto& row : rows) EXPECT_EQ(obxd::one_line(row.text), row.line);
}

}  // namespace
