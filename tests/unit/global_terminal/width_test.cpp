// Columns of texts.
#include "platform/global/terminal/width.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include "terminal_fixture.hpp"

namespace {

using Width = OnXterm;

TEST_F(Width, CountsColumns) {
    struct Row {
        const char* text;
        size_t width;
    };
    const Row rows[] = {{"", 0},          {"abc", 3},          {"\xc3\xa9", 1},
                        {"e\xcc\x81", 1}, {"\xe4\xb8\xad", 2}, {"\xf0\x9f\x98\x80", 2},
                        {"\xff\xfe", 2},  {"a\tb", 2},         {"\xe4\xb8", 2},
                        {"\xc0\x80", 2},  {"\xed\xa0\x80", 3}};
    for (const Row& row : rows)
        EXPECT_EQ(terminal_text_width(row.text, strlen(row.text)), row.width) << row.text;
}

TEST_F(Width, CutsAtWholeCharacters) {
    struct Row {
        const char* text;
        size_t columns;
        size_t bytes;
    };
    const Row rows[] = {
        {"abc", 5, 3},        {"abc", 2, 2},       {"abc", 0, 0},         {"\xe4\xb8\xad\xe4\xb8\xad", 3, 3},
        {"e\xcc\x81x", 1, 3}, {"a\033[31m", 9, 1}, {"\xe4\xb8\xad", 1, 0}};
    for (const Row& row : rows) {
        EXPECT_EQ(terminal_cut(row.text, strlen(row.text), row.columns), row.bytes) << row.text;
    }
}

TEST_F(Width, FollowsTheCursor) {
    struct Row {
        const char* text;
        size_t columns, column, row;
    };
    const Row rows[] = {{"abc", 10, 3, 0},
                        {"0123456789", 10, 0, 1},
                        {"012345678", 10, 9, 0},
                        {"012345678\xe4\xb8\xad", 10, 2, 1},
                        {"\001\033[31m\002ab\001\033[0m\002", 10, 2, 0},
                        {"a\001\002b", 10, 2, 0},
                        {"a\003b", 10, 4, 0}};
    for (const Row& row : rows) {
        TerminalPlace place = terminal_advance({0, 0}, row.text, strlen(row.text), row.columns);
        EXPECT_EQ(place.column, row.column) << row.text;
        EXPECT_EQ(place.row, row.row) << row.text;
    }
}

TEST_F(Width, CountsUtf8UnlessTheEnvironmentNamesAnotherCharacterSet) {
    struct Row {
        const char* lang;
        size_t width;
    };
    const Row rows[] = {{nullptr, 1}, {"", 1},       {"C", 1},           {"POSIX", 1},
                        {"xx_XX", 1}, {"C.utf8", 1}, {"xx_XX.UTF-8", 1}, {"xx_XX.ISO-8859-1", 2}};
    for (const Row& row : rows) {
        row.lang ? setenv("LANG", row.lang, 1) : unsetenv("LANG");
        EXPECT_EQ(terminal_text_width("\xc3\xa9", 2), row.width) << (row.lang ? row.lang : "none");
    }
}

}  // namespace
