// Texts of others on the terminal.
#include <gtest/gtest.h>

#include <string>

#include "ox_out.hpp"
#include "terminal_fixture.hpp"

namespace {

using Output = OnXterm;

TEST_F(Output, EscapesControlCharactersOnATerminal) {
    struct Row {
        std::string text, escaped;
    };
    const Row rows[] = {{"plain", "plain"},
                        {"\033[2J", "\\x1b[2J"},
                        {"a\nb\tc\x7f", "a\\x0ab\\x09c\\x7f"},
                        {std::string("a\0b", 3), "a\\x00b"},
                        {"\xc3\xa9", "\xc3\xa9"},
                        {"\xc2\x9b"
                         "31m",
                         "\\xc2\\x9b31m"},
                        {"\x9b"
                         "31m",
                         "\\x9b31m"},
                        {"\xc2\xa0", "\xc2\xa0"},
                        {"\xe4\x80\x85", "\xe4\x80\x85"}};
    for (const Row& row : rows) {
        auto print = [&row] { ox_out_text(row.text.data(), static_cast<long>(row.text.size())); };
        EXPECT_EQ(written(true, print), row.escaped);
        EXPECT_EQ(written(false, print), row.text);
        size_t size = 0;
        auto measure = [&] { size = ox_out_size(row.text.data(), static_cast<long>(row.text.size())); };
        written(true, measure);
        EXPECT_EQ(size, row.escaped.size());
        written(false, measure);
        EXPECT_EQ(size, row.text.size());
    }
}

TEST_F(Output, MessagesKeepTheirLines) {
    const char* text = "first\n\tsecond\n\n\033[2J\r\xc3\xa9";
    auto print = [text] { ox_out_message(text); };
    EXPECT_EQ(written(true, print), "first\r\n\tsecond\r\n\r\n\\x1b[2J\\x0d\xc3\xa9");
    EXPECT_EQ(written(false, print), text);
}

}  // namespace
