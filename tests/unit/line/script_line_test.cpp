// Lines of script files: which go on with the next one, and their words.
#include "line/script_line.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(ScriptLine, Continues) {
    const struct {
        const char* line;
        bool continues;
    } rows[] = {
        {"", false},         {"ls", false},      {"ls \\", true},   {"ls \\\\", false}, {"ls \\\\\\", true},
        {"\\", true},        {"a 'b", true},     {"a 'b'", false},  {"a \"b", true},    {"a \"b\"", false},
        {"a \"b'\"", false}, {"a 'b\"'", false}, {"a \\'b", false}, {"a \\\\'b", true}, {"a 'b\\'", true},
        {"b' c", true},      {"# don't", true},  {"'a\\\\", true},  {"\\\\\\'", false}, {"\\ ", false},
    };
    for (const auto& row : rows) EXPECT_EQ(script_line_continues(row.line), row.continues) << row.line;
}

TEST(ScriptLine, Words) {
    const struct {
        const char* line;
        std::vector<std::string> words;
    } rows[] = {
        {"", {}},
        {" \t ", {}},
        {"ls", {"ls"}},
        {" a\tb  c ", {"a", "b", "c"}},
        {"set a=\"x y\" #z", {"set", "a=\"x", "y\"", "#z"}},
        {"a\rb\vc", {"a\rb\vc"}},
    };
    for (const auto& row : rows) {
        std::vector<std::string> words;
        for (ScriptWord word = script_word(row.line); !word.text.empty(); word = script_word(word.rest))
            words.emplace_back(word.text);
        EXPECT_EQ(words, row.words) << row.line;
    }
}

TEST(ScriptLine, OneBlankBehindAWordIsGone) {
    EXPECT_STREQ(script_word("echo  two blanks ").rest, " two blanks ");
    EXPECT_STREQ(script_word("echo").rest, "");
}

}  // namespace
