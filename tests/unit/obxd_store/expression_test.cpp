// Regular expressions: what each syntax means, what is none, and how long a match may take.

#include "store/expression.hpp"

#include <gtest/gtest.h>

#include "cpu_time.hpp"

using namespace obxd;

namespace {

struct Row {
    const char* pattern;
    std::vector<const char*> matches, others;
};

void check(const std::vector<Row>& rows, Syntax syntax) {
    for (const Row& row : rows) {
        std::string why;
        Expression program = expression_compile(row.pattern, syntax, why);
        ASSERT_TRUE(program) << row.pattern << ": " << why;
        for (const char* text : row.matches)
            EXPECT_TRUE(expression_matches(*program, text)) << row.pattern << " and " << text;
        for (const char* text : row.others)
            EXPECT_FALSE(expression_matches(*program, text)) << row.pattern << " and " << text;
    }
}

TEST(Expression, XmlSchema) {
    check(
        {
            {"", {""}, {"a", " "}},
            {"abc", {"abc"}, {"", "ab", "abcd", "xabc"}},
            {"a|bc|", {"a", "bc", ""}, {"b", "abc"}},
            {"\\d+(\\.\\d+)*", {"1", "1.25.3"}, {"", "1.", ".1", "1..2", "a"}},
            {"\\d{4}|\\d{8}", {"2024", "20240531"}, {"20245", "2024053"}},
            {"[0-9A-F]{6}", {"00FFA0"}, {"00ffa0", "00FFA", "00FFA00"}},
            {"[0-9]{14,15}", {"12345678901234", "123456789012345"}, {"1234567890123", "1234567890123456"}},
            {"a{2,}", {"aa", "aaaaaa"}, {"a", ""}},
            {"a{0}b", {"b"}, {"ab"}},
            {"(a{0,2}){2}", {"", "a", "aaaa"}, {"aaaaa"}},
            {"([0-9]{1,15}?[BKMGT])", {"5K", "123456789012345T"}, {"K", "5", "5k"}},
            {"X [0-9A-F]{6} .*", {"X 00A0B1 ", "X 00A0B1 any thing"}, {"X 00A0B1", "X 00A0B1 a\nb"}},
            {"((25[0-5]|2[0-4][0-9]|[01]?[0-9]?[0-9])\\.){3}(25[0-5]|2[0-4][0-9]|[01]?[0-9]?[0-9])",
             {"192.0.2.255", "0.0.0.0"},
             {"192.0.2.256", "192.0.2", "1.2.3.4.5"}},
            {"([0-7],){15}[0-7]", {"0,1,2,3,4,5,6,7,0,1,2,3,4,5,6,7"}, {"0,1,2,3,4,5,6,7,0,1,2,3,4,5,6"}},
            // Anchors are no more than characters.
            {"^a$", {"^a$"}, {"a"}},
            {"[a-z-[aeiou]]+", {"bcd"}, {"bad", "B"}},
            {"[^a-c]", {"d", "\xc3\xa9", "\xe2\x82\xac"}, {"a", "", "dd"}},
            {"[-a]+", {"-a-"}, {"b"}},
            {"[a-]+", {"-a-"}, {"b"}},
            {"[\\d\\-x]+", {"4-x"}, {"y"}},
            {"[\\]\\[\\\\]+", {"[]\\"}, {"x"}},
            {"\\i\\c*", {"_a-1.b", "\xc3\xa9t\xc3\xa9"}, {"1a", "-a", ""}},
            {"\\I+", {"1-"}, {"a"}},
            {"\\w+", {"aZ9$+"}, {"a b", "a-b", "a.b"}},
            {"\\W", {"-", " "}, {"a"}},
            {"\\S+\\s\\S+", {"a b", "a\tb"}, {"ab", "a  b"}},
            {"\\D", {"a"}, {"1", "\xd9\xa1"}},
            {"\\p{Lu}\\p{Ll}+", {"Abc"}, {"abc", "AB"}},
            {"\\p{IsBasicLatin}*", {"plain"}, {"\xc3\xa9"}},
            {"\\P{N}", {"a"}, {"1"}},
            {".", {"a", "\xe2\x82\xac"}, {"", "ab", "\n"}},
            {"\\n\\r\\t", {"\n\r\t"}, {"nrt"}},
            {"\\.\\*\\(\\)\\{\\}\\|", {".*(){}|"}, {"a"}},
        },
        Syntax::XML_SCHEMA);
}

TEST(Expression, Posix) {
    check(
        {
            {"[a-c]+|x", {"abc", "x"}, {"", "xx", "d"}},
            {"[0-9.]*", {"", "192.0.2.1"}, {"::1"}},
            {"^ab?$", {"a", "ab"}, {"^a$", "b"}},
            {"(^a|b)c", {"ac", "bc"}, {"c"}},
            {"a^b", {}, {"a^b", "ab"}},
            {"[[:digit:][:upper:]_]+", {"A1_"}, {"a"}},
            {"[]a]+", {"]a"}, {"b"}},
            {"[^]a]", {"b"}, {"]", "a"}},
            {"[\\d]+", {"\\d"}, {"1"}},
            {"a.c", {"abc", "a\nc"}, {"ac"}},
            {"a{x", {"a{x"}, {"a"}},
            {"\\.\\[", {".["}, {"a["}},
        },
        Syntax::POSIX);
}

TEST(Expression, Errors) {
    const struct {
        const char* pattern;
        const char* why;
        Syntax syntax = Syntax::XML_SCHEMA;
    } rows[] = {
        {"(a", "has an open \"(\""},
        {"a)", "has a \")\" too many"},
        {"[a", "has an open \"[\""},
        {"[]", "has an open \"[\""},
        {"[b-a]", "has a bad range in brackets"},
        {"[a-\\d]", "has a bad range in brackets"},
        {"[a-z-[a]b]", "has something behind a \"-[\""},
        {"*a", "repeats nothing"},
        {"a|+", "repeats nothing"},
        {"a{2,1}", "has a bad \"{\""},
        {"a{x}", "has a bad \"{\""},
        {"a\\", "ends in \"\\\""},
        {"\\q", "has an unknown \"\\\""},
        {"\\p{Klingon}", "has an unknown \"\\p\""},
        {"(a)\\1", "has an unknown \"\\\"", Syntax::POSIX},
        {"[[:letter:]]", "has an unknown \"[:\"", Syntax::POSIX},
        {"((a{1000}){1000}){1000}", "is too large"},
    };
    for (const auto& row : rows) {
        std::string why;
        EXPECT_FALSE(expression_compile(row.pattern, row.syntax, why)) << row.pattern;
        EXPECT_EQ(why, row.why) << row.pattern;
    }
    std::string why;
    for (std::string deep :
         {std::string(100000, '('), "a" + std::string(100000, '*'), std::string(100000, '[') + "a"}) {
        EXPECT_FALSE(expression_compile(deep, Syntax::POSIX, why));
        EXPECT_FALSE(expression_compile(deep, Syntax::XML_SCHEMA, why));
    }
    EXPECT_TRUE(expression_compile("(){100000}", Syntax::XML_SCHEMA, why));
}

/// Seconds of CPU that a match of so many characters takes.
double match_seconds(const Program& program, size_t length) {
    std::string text(length, 'a');
    return least_cpu_seconds([&] { EXPECT_FALSE(expression_matches(program, text)); });
}

TEST(Expression, NoTextMakesAMatchSlow) {
    for (const char* pattern : {"(a*)*b", "(a|aa)+b", "(a|a|a)*b", "(((a*)*)*)*b"}) {
        std::string why;
        Expression program = expression_compile(pattern, Syntax::XML_SCHEMA, why);
        ASSERT_TRUE(program);
        double once = std::max(match_seconds(*program, 20000), 0.001);
        EXPECT_LT(match_seconds(*program, 80000), once * 12) << pattern;
    }
}

TEST(Expression, AZeroByteIsACharacter) {
    std::string why;
    for (std::string_view pattern : {std::string_view("\0", 1), std::string_view("\\\0", 2)}) {
        Expression zero = expression_compile(pattern, Syntax::POSIX, why);
        ASSERT_TRUE(zero) << why;
        EXPECT_TRUE(expression_matches(*zero, std::string_view("\0", 1)));
        EXPECT_FALSE(expression_matches(*zero, "w"));
        EXPECT_FALSE(expression_matches(*zero, ""));
    }
}

TEST(Expression, BrokenTextsAreReadByteByByte) {
    std::string why;
    Expression any = expression_compile(".{3}", Syntax::XML_SCHEMA, why);
    EXPECT_TRUE(expression_matches(*any, "\xff\xc3\xe2"));
    EXPECT_TRUE(expression_matches(*any, "a\x80z"));
    EXPECT_FALSE(expression_matches(*any, "\xe2\x82\xac"));
}

}  // namespace
