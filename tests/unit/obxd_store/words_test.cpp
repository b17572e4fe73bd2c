// The words that patterns match, by their numbers.

#include "store/words.hpp"

#include <gtest/gtest.h>

#include <set>

using obxd::Expression;
using obxd::Size;
using obxd::Syntax;
using obxd::Words;

namespace {

Words words_of(const std::vector<std::string>& patterns, const std::vector<Size>& sizes = {},
               Syntax syntax = Syntax::XML_SCHEMA) {
    std::vector<Expression> expressions;
    for (const std::string& pattern : patterns) {
        std::string why;
        expressions.push_back(obxd::expression_compile(pattern, syntax, why));
        EXPECT_TRUE(expressions.back()) << pattern << ": " << why;
    }
    return Words(std::move(expressions), sizes);
}

std::string first(Words words, uint64_t count) {
    std::string text;
    for (uint64_t i = 0; i < std::min(count, words.count()); i++) text += (i ? "|" : "") + words.word(i);
    return text;
}

TEST(Words, AreCountedAndInOrder) {
    const struct {
        std::vector<std::string> patterns;
        uint64_t count;
        const char* first;
    } rows[] = {
        {{""}, 1, ""},
        {{"", "Drop", "Null"}, 3, "|Drop|Null"},
        {{"[0-7]|[1-5][0-7]"}, 48, "0|1|2|3"},
        {{"[ OI]x"}, 3, "Ix|Ox| x"},
        {{"([01][0-9]|2[0-3]):[0-5][0-9]"}, 1440, "00:00|00:01|00:02|00:03"},
        {{"[a-z-[aeiou]]{2}"}, 441, "bb|bc|bd|bf"},
        {{"\\d{4}|\\d{8}"}, 100010000, "0000|0001|0002|0003"},
        {{"2\\.\\d+"}, Words::MOST, "2.0|2.1|2.2|2.3"},
        {{"a?a?a?"}, 4, "|a|aa|aaa"},  // each word once, however it can be matched
        {{"[01]?[0-9]?[0-9]"}, 10 + 100 + 200, "0|1|2|3"},
        {{"[A-Fa-f0-9]{8}-[A-Fa-f0-9]{4}"}, Words::MOST, "00000000-0000|00000000-0001"},
        {{"[^ -~]"}, 0, ""},  // nothing that is printable
    };
    for (const auto& row : rows) {
        Words words = words_of(row.patterns);
        EXPECT_EQ(words.count(), row.count) << row.patterns[0];
        EXPECT_EQ(first(std::move(words), row.count < 4 ? row.count : 4).substr(0, strlen(row.first)),
                  row.first)
            << row.patterns[0];
    }
}

TEST(Words, AreAsLongAsTheSizesSay) {
    EXPECT_EQ(first(words_of({"a*"}, {{1, 2}, {5, 5}}), 9), "a|aa|aaaaa");
    EXPECT_EQ(first(words_of({"a*"}, {{3, -1}}), 2), "aaa|aaaa");
    EXPECT_EQ(words_of({"[0-9]{6,20}"}, {{0, 5}}).count(), 0u);
}

TEST(Words, MatchAndDiffer) {
    for (const char* pattern :
         {"((25[0-5]|2[0-4][0-9]|[01]?[0-9]?[0-9])\\.){3}(25[0-5]|2[0-4][0-9]|[01]?[0-9]?[0-9])",
          "([0-9A-Fa-f][0-9A-Fa-f]:){7}([0-9A-Fa-f][0-9A-Fa-f])", "\\d+(\\.\\d+)*", "X [0-9A-F]{6} .*",
          "\\i\\c*", "(a|ab)(c|bcd)*"}) {
        std::string why;
        Expression expression = obxd::expression_compile(pattern, Syntax::XML_SCHEMA, why);
        ASSERT_TRUE(expression) << why;
        Words words({expression}, {});
        std::set<std::string> seen;
        for (uint64_t i = 0; i < 2000; i++) {
            // The first ones, and some far behind.
            uint64_t number = i < 1000 ? i : (i * 1000003) % words.count();
            std::string word = words.word(number);
            EXPECT_TRUE(obxd::expression_matches(*expression, word)) << pattern << " " << word;
            if (i < 1000) {
                EXPECT_TRUE(seen.insert(word).second) << pattern << " " << word;
            }
        }
    }
}

TEST(Words, OfPosixExpressions) {
    EXPECT_EQ(first(words_of({"^[[:digit:]]{2}$|x"}, {}, Syntax::POSIX), 3), "x|00|01");
}

}  // namespace
