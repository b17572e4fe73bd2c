// Candidates as they must be typed: what is inserted is read back as one word.
#include "line/quote.hpp"

#include <gtest/gtest.h>

#include <string>

#include "line/split.hpp"
#include "ox_raii.hpp"

namespace {

TEST(Quote, WhatIsTypedOfAWord) {
    const struct {
        const char* line;
        char separator;
        const char* name;
        char quote;
    } rows[] = {
        {"", 0, "", 0},
        {"cd De", 0, "De", 0},
        {"cd 'a b", 0, "'a b", '\''},
        {"cd 'a' b", 0, "b", 0},
        {"cd a\\ b", 0, "b", 0},
        {"cd \"a'b", 0, "\"a'b", '"'},
        {"cd Device.Ho", '.', "Ho", 0},
        {"set A=b=c", '=', "b=c", 0},
        {"set A=b c=d", '=', "d", 0},
        {"upgrade a/b", '/', "b", 0},
    };
    for (const auto& row : rows) {
        TypedWord typed = typed_word(row.line, row.separator);
        EXPECT_STREQ(typed.name, row.name) << row.line;
        EXPECT_EQ(typed.quote, row.quote) << row.line;
    }
}

TEST(Quote, WhatNeedsQuotes) {
    for (const char* text : {"a b", "a\tb", "it's", "\"", "#1", "a\\b", "\n"})
        EXPECT_TRUE(needs_quotes(text));
    for (const char* text : {"", "Device.Hosts.", "a=b", "\xc3\xa4", "-f"}) EXPECT_FALSE(needs_quotes(text));
}

TEST(Quote, ACandidateIsReadBackAsOneWord) {
    for (const char* text : {"plain", "a b", "it's", "say \"x\"", "#1", "a\\b", "a\tb c", " b", "'\"#\\ "}) {
        for (const char* before : {"", "'", "\""}) {
            JsonRef candidate(quoted_candidate(typed_word(before, 0), text, 0, true));
            JsonRef words(line_split(json_string_value(candidate), 0, nullptr));
            ASSERT_EQ(json_array_size(words), 1u) << before << text;
            EXPECT_STREQ(json_string_value(json_array_get(words, 0)), text) << before << text;
        }
    }
    EXPECT_EQ(quoted_candidate(typed_word("", 0), "\xff", 0, true), nullptr);
}

}  // namespace
