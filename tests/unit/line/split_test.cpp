#include "line/split.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#ifndef __SANITIZE_ADDRESS__
namespace {
bool memory_ends = false;
}
extern "C" void* __libc_realloc(void* block, size_t size);
extern "C" void* realloc(void* block, size_t size) noexcept {
    return memory_ends ? nullptr : __libc_realloc(block, size);
}
#endif

namespace {

using Words = std::vector<std::string>;

Words split(const char* line, int cursor = 0, unsigned* count = nullptr) {
    json_t* words = line_split(line, cursor, count);
    EXPECT_TRUE(json_is_array(words)) << line;
    Words result;
    size_t index;
    json_t* word;
    json_array_foreach(words, index, word)
        result.emplace_back(json_string_value(word), json_string_length(word));
    json_decref(words);
    return result;
}

TEST(LineSplit, NoLineGivesNoArray) {
    unsigned count = 7;
    EXPECT_EQ(line_split(nullptr, 0, &count), nullptr);
    EXPECT_EQ(count, 7u);
}

TEST(LineSplit, Words) {
    const struct {
        const char* line;
        Words words;
    } rows[] = {
        {"", {}},
        {" \t\n\v\f\r", {}},
        {"ls", {"ls"}},
        {"  ls \t -l\v x\fy\rz ", {"ls", "-l", "x", "y", "z"}},
        {R"(set a.b="x y")", {"set", "a.b=x y"}},
        {"ls # list", {"ls"}},
        {"ls a#b c", {"ls", "a"}},
        {"# only a comment", {}},
        {R"(echo a\ b)", {"echo", "a\\", "b"}},
        {R"("a\ b")", {"a\\ b"}},
        {R"(say \"hi\")", {"say", "\"hi\""}},
        {R"(say "\"hi\"")", {"say", "\"hi\""}},
        {R"(set x "")", {"set", "x"}},
        {R"(a\nb "a\nb")", {"a\\nb", "a\\nb"}},
        {R"('it''s')", {"its"}},
        {R"("it's")", {"it's"}},
        {R"('say "x"')", {"say \"x\""}},
        {R"(abc\)", {"abc\\"}},
        {R"(abc \)", {"abc", "\\"}},
        {R"(a\\b)", {"a\\b"}},
        {R"(a\\)", {"a\\"}},
        {R"(\#x '#y')", {"#x", "#y"}},
        {"'open quote", {"open quote"}},
        {"\"a'b", {"a'b"}},
        {"'a\nb' c\nd", {"a\nb", "c", "d"}},
        {"a # x\nb", {"a", "b"}},
        {"a # x \\ y\nb\nc", {"a", "c"}},
        {"a # x\\\nb # y\nc", {"a", "c"}},
        {"l\xc3\xa4nge \xe2\x82\xac", {"l\xc3\xa4nge", "\xe2\x82\xac"}},
        {"a\\\tb", {"a\\", "b"}},
    };
    for (const auto& row : rows) EXPECT_EQ(split(row.line), row.words) << row.line;
}

TEST(LineSplit, ALongWordStaysWhole) {
    std::string word(100000, 'x');
    EXPECT_EQ(split(("a " + word + " b").c_str()), (Words{"a", word, "b"}));
}

TEST(LineSplit, CountsTheWordsClosedLeftOfTheCursor) {
    const struct {
        const char* line;
        int cursor;
        unsigned count;
    } rows[] = {
        {"cd Dev", 6, 1},   {"cd Dev ", 7, 2}, {"cd Dev ", 6, 1},  {"cd Dev", 3, 1},
        {"cd Dev", 2, 0},   {"cd  Dev", 4, 1}, {"   ", 3, 0},      {"", 0, 0},
        {"#", 1, 1},        {"#", 0, 0},       {"a#b", 3, 1},      {"# x y ", 6, 1},
        {"'a b' c ", 8, 2}, {"'a b", 4, 0},    {"a b c d ", 4, 2}, {"set a=\"x y\" ", 12, 2},
    };
    for (const auto& row : rows) {
        unsigned count = 99;
        split(row.line, row.cursor, &count);
        EXPECT_EQ(count, row.count) << '"' << row.line << "\" at " << row.cursor;
    }
}

TEST(LineSplit, CountsOnlyWhenAsked) {
    unsigned count = 42;
    split("a b c ", -1, &count);
    EXPECT_EQ(count, 42u);
    EXPECT_EQ(split("a b c ", 6, nullptr), (Words{"a", "b", "c"}));
}

#ifndef __SANITIZE_ADDRESS__
TEST(LineSplit, WithoutMemoryTheProgramEnds) {
    for (const char* line : {"ls", "\\"}) {
        EXPECT_DEATH(
            {
                memory_ends = true;
                line_split(line, 0, nullptr);
            },
            "out of memory");
    }
    EXPECT_EQ(split("ls"), Words{"ls"});
}
#endif

TEST(LineSplit, WordsToDispatch) {
    const struct {
        const char* line;
        const char* words;
    } rows[] = {
        {"", "[]"},
        {"cat 'a b'", R"(["cat","a b"])"},
        {"lua print('a  b') # c", R"(["lua","print('a  b') # c"])"},
        {"lua ", R"(["lua",""])"},
        {"lua", R"(["lua"])"},
        {" lua 'x y'", R"(["lua","x y"])"},
    };
    for (const auto& row : rows) {
        json_t* words = line_words(row.line);
        char* text = json_dumps(words, JSON_COMPACT);
        EXPECT_STREQ(text, row.words) << row.line;
        free(text);
        json_decref(words);
    }
    EXPECT_EQ(line_words("cat \xff"), nullptr);
}

TEST(LineSplit, PlainFirstWords) {
    const char* const rows[][2] = {{"", ""},        {"cat", ""},     {"cat ", "cat"}, {" cat\tx", "cat"},
                                   {"'cat' x", ""}, {"ca't' x", ""}, {"#cat x", ""},  {"c\\at x", ""}};
    for (const auto& row : rows) EXPECT_EQ(line_plain_first_word(row[0]), row[1]) << row[0];
}

}  // namespace
