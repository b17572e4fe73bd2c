// The writer of JSON against jansson's, byte for byte.

#include "json_text.hpp"

#include <gtest/gtest.h>
#include <limits.h>

#include <random>

#include "owners.hpp"

namespace {

using obxd::CharsRef;
using obxd::JsonRef;
using obxd::Text;

std::string jansson(const json_t* value) {
    CharsRef dump(json_dumps(value, JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(15)));
    return dump ? dump.get() : "(none)";
}

std::string ours(const json_t* value) {
    Text text;
    return obxd::json_put(text, value) ? text.str() : "(none)";
}

void same(const JsonRef& value) {
    ASSERT_TRUE(value);
    EXPECT_EQ(ours(value), jansson(value));
}

TEST(JsonTexts, EveryAsciiCharacterAndItsNeighbours) {
    for (int c = 1; c < 128; c++) {
        for (size_t before = 0; before < 18; before++) {
            std::string text = std::string(before, 'a') + static_cast<char>(c) + "bcdefghijklmnop";
            same(JsonRef(json_string(text.c_str())));
        }
    }
    same(JsonRef(json_stringn("a\0b", 3)));
    same(JsonRef(json_string("")));
    same(JsonRef(json_string("\"\\/\b\f\n\r\t\x1f\x7f")));
}

TEST(JsonTexts, CharactersOfEveryLength) {
    for (const char* text : {"\u00e4\u00f6", "\u0800", "\uffff", "\U00010000", "\U0010ffff", "12345678\u00e4",
                             "a\u20acb\"\u20ac\\\U0001f600\n\u00e4", "\ud7ff\ue000"})
        same(JsonRef(json_string(text)));
}

TEST(JsonTexts, WhatIsNoUtf8IsRefused) {
    for (const char* text : {"\x80", "\xc3", "\xc0\x80", "\xc1\xbf", "\xe0\x80\x80", "\xed\xa0\x80",
                             "\xed\xbf\xbf", "\xf0\x80\x80\x80", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80",
                             "\xff", "\xe2\x82", "plain text before \xe2(\xa1", "\xc3\x28"}) {
        EXPECT_FALSE(JsonRef(json_string(text))) << "jansson takes it";
        Text out;
        EXPECT_FALSE(obxd::json_put_string(out, text));
        EXPECT_TRUE(out.empty());
    }
    JsonRef list(json_array());
    json_array_append_new(list, json_string_nocheck("\xff"));
    EXPECT_EQ(ours(list), "(none)");
    EXPECT_EQ(ours(nullptr), "(none)");
}

TEST(JsonTexts, AnyBytesAreTakenOrRefusedAsByJansson) {
    std::mt19937 random(1);
    for (int round = 0; round < 200000; round++) {
        unsigned char bytes[6];
        size_t size = random() % 6 + 1;
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random() % 3 ? random() % 128 + 128 : random() % 256);
        std::string text(reinterpret_cast<char*>(bytes), size);
        JsonRef value(json_stringn(text.data(), text.size()));
        Text out;
        ASSERT_EQ(obxd::json_put_string(out, text), bool(value)) << testing::PrintToString(text);
        if (value) {
            ASSERT_EQ(out.str(), jansson(value));
        }
    }
}

TEST(JsonTexts, Numbers) {
    for (json_int_t number :
         {json_int_t{0}, json_int_t{-1}, json_int_t{42}, json_int_t{LLONG_MAX}, json_int_t{LLONG_MIN}})
        same(JsonRef(json_integer(number)));
    for (double number : {0.0, -0.0, 1.0, 0.1, 1.5, -2.25, 1e14, 1e15, 1e16, 1e300, 1e-7, 123456.789, 1.0 / 3,
                          5e-324, 1.7976931348623157e308})
        same(JsonRef(json_real(number)));
}

TEST(JsonTexts, WordsAndContainers) {
    for (const char* text : {"[]", "{}", "[[]]", "{\"a\":{}}", "[true,false,null]",
                             "{\"b\":1,\"a\":[1,2.5,\"x\",{\"\\n\":{}}],\"\":\"\"}"})
        same(JsonRef(json_loads(text, 0, nullptr)));
}

}  // namespace
