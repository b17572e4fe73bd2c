// The reader of arriving JSON against jansson, which says what each text is.
#include "platform/global/jrpc/json_reader.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

namespace {

struct Outcome {
    json_reader_state state = JSON_READER_MORE;
    json_t* json = nullptr;
};

/// Feeds the text in pieces of `step` bytes, each behind what the reader has not taken yet.
Outcome read(const std::string& text, size_t step) {
    JsonReader reader = {};
    Outcome outcome;
    std::string held;
    for (size_t at = 0; at < text.size() && outcome.state == JSON_READER_MORE; at += step) {
        held += text.substr(at, step);
        size_t taken = 0;
        outcome.state = json_reader_feed(&reader, held.data(), held.size(), &taken);
        held.erase(0, taken);
    }
    if (outcome.state == JSON_READER_WHOLE) outcome.json = json_reader_take(&reader);
    json_reader_reset(&reader);
    return outcome;
}

std::string dump(json_t* json) {
    char* text = json ? json_dumps(json, 0) : nullptr;
    std::string copy = text ? text : "";
    free(text);
    return copy;
}

std::string nested(int levels) {
    std::string text = "{\"a\":";
    for (int i = 1; i < levels; ++i) text += "[";
    for (int i = 1; i < levels; ++i) text += "]";
    return text + "}";
}

std::vector<std::string> texts() {
    std::vector<std::string> found = {
        "{}",
        "{ }",
        " {\t}",
        "{\"a\":{}}",
        "{\"a\":[]}",
        "{\"a\":[[],{}]}",
        "{\"a\" :\r\n1 , \"b\":2}",
        "{\"a\":1,\"b\":2,\"a\":{\"c\":3}}",  // the last one, in the first one's place
        "{,}",
        "{\"a\"}",
        "{\"a\":}",
        "{\"a\":1,}",
        "{\"a\" 1}",
        "{a:1}",
        "{\"a\":[1,]}",
        "{\"a\":[,1]}",
        "{\"a\":[1 2]}",
        "{\"a\":[1}",
        "{\"a\":{]}",
        "{]",
        "[1]",
        "1",
        "\"a\"",
        "{\"a\":1}x",
        "{\"Attributes\":{\"a\":1},\"b\":[{\"Attributes\":{\"a\":1}},{\"Attributes\":{\"a\":2}}]}",
        "{\"Attributes\":{\"a\":01}}",
        "{\"Attributes\":{\"a\":\"}\"}}",
        "{\"Attributes\":[{\"a\":1}]}",
        "{\"Attributes\":{\"Attributes\":{\"a\":1}},\"Attributes\":{}}",
        "{\"Attributes\":{\"a\":[}]}}",
        nested(2047),
        nested(2048),
        nested(2049),
        "{\"a\":\"" + std::string(100000, 'x') + "\"}",
        "{\"Attributes\":{\"a\":\"" + std::string(5000, 'x') + "\"}}",
    };
    for (const char* value : {"true",
                              "false",
                              "null",
                              "tru",
                              "truex",
                              "nul",
                              "True",
                              "0",
                              "-0",
                              "1",
                              "-17",
                              "01",
                              "-",
                              "+1",
                              "0x1",
                              "1.5",
                              "1.",
                              ".5",
                              "1e5",
                              "1E+5",
                              "-1.25e-3",
                              "1e",
                              "1-2",
                              "1e999",
                              "-1e999",
                              "1e-999",
                              "123456789012345678",
                              "1234567890123456789",
                              "9223372036854775807",
                              "9223372036854775808",
                              "-9223372036854775808",
                              "-9223372036854775809",
                              "18446744073709551616",
                              R"("")",
                              R"("\u0000")",
                              R"("\u00e9\n\"\\\/\b\f\r\t")",
                              R"("\u00E9\ud83d\ude00")",
                              R"("\ud83d")",
                              R"("\ud83dx")",
                              R"("\ud83d\u0041")",
                              R"("\udc00")",
                              R"("\u12g4")",
                              R"("\u12")",
                              R"("\q")",
                              "\"\n\"",
                              "\"\x01\"",
                              "\"\x7f\"",
                              "\"\xc3\xa9\"",
                              "\"\xe2\x82\xac\"",
                              "\"\xf0\x9f\x98\x80\"",
                              "\"\xff\"",
                              "\"\xc0\x80\"",
                              "\"\xc3\"",
                              "\"\xe0\x80\x80\"",
                              "\"\xed\xa0\x80\"",
                              "\"\xf0\x80\x80\x80\"",
                              "\"\xf4\x90\x80\x80\""}) {
        found.push_back(std::string("{\"a\":") + value + "}");
        found.push_back(std::string("{\"a\":[") + value + ",1]}");
        found.push_back(std::string("{\"Attributes\":{\"a\":") + value + "}}");
        if (value[0] == '"') found.push_back(std::string("{") + value + ":1}");
    }
    return found;
}

TEST(JsonReader, AgreesWithJanssonHoweverTheTextIsSplit) {
    for (const std::string& text : texts()) {
        json_error_t why = {};
        int flags = JSON_ALLOW_NUL | JSON_DISABLE_EOF_CHECK;
        json_t* wanted = text[text.find_first_not_of(' ')] == '{'
                             ? json_loadb(text.data(), text.size(), flags, &why)
                             : nullptr;
        bool big = !wanted && json_error_code(&why) == json_error_numeric_overflow;
        for (size_t step : {size_t{1}, size_t{2}, size_t{7}, size_t{1000}, text.size()}) {
            if (step < 7 && text.size() > 10000) continue;
            Outcome outcome = read(text, step);
            int state = wanted ? JSON_READER_WHOLE : big ? JSON_READER_NUMBER : JSON_READER_BROKEN;
            EXPECT_EQ(outcome.state, state) << text.substr(0, 80) << " by " << step;
            EXPECT_EQ(dump(outcome.json), dump(wanted)) << step;
            json_decref(outcome.json);
        }
        json_decref(wanted);
    }
}

TEST(JsonReader, TextsThatGoOnAreNotBroken) {
    std::string text = R"({"a":[1.5e3,"x\u00e9",true,null,{"Attributes":{"a":{"b":1}}}],"b":-12} )";
    for (size_t size = 1; size < text.size() - 1; ++size) {
        Outcome outcome = read(text.substr(0, size), 3);
        EXPECT_EQ(outcome.state, JSON_READER_MORE) << size;
    }
}

/// What comes behind them would be swallowed.
TEST(JsonReader, BrokenTextsAreNotWaitedFor) {
    for (const char* value : {R"({"a":trx)", R"({"a":1 {)", R"({"a":1]})",
                              R"({"a":"x)"
                              "\n",
                              R"({"a" "b")", R"([1 2)"}) {
        for (const char* name : {"Attributes", "attr", "other"}) {
            std::string text = std::string("{\"") + name + "\":" + value;
            for (size_t step : {size_t{1}, text.size()}) {
                EXPECT_EQ(read(text, step).state, JSON_READER_BROKEN) << text << " by " << step;
            }
        }
    }
}

TEST(JsonReader, EqualAttributesAreOneObject) {
    std::string attributes = R"({"access":"readOnly","type":"string"})";
    std::string list;
    for (int i = 0; i < 1000; ++i) {
        std::string own = i == 500 ? R"({"access":"readWrite"})" : attributes;
        list += (i ? "," : "") + std::string(R"({"Name":"A.)") + std::to_string(i) + R"(","Attributes":)" +
                own + "}";
    }
    for (size_t step : {size_t{1}, size_t{100}, size_t{100000}}) {
        Outcome outcome = read("{\"list\":[" + list + "]}", step);
        ASSERT_EQ(outcome.state, JSON_READER_WHOLE);
        json_t* array = json_object_get(outcome.json, "list");
        json_t* first = json_object_get(json_array_get(array, 0), "Attributes");
        EXPECT_EQ(dump(first), R"({"access": "readOnly", "type": "string"})");
        EXPECT_EQ(json_object_get(json_array_get(array, 999), "Attributes"), first);
        EXPECT_EQ(dump(json_object_get(json_array_get(array, 500), "Attributes")),
                  R"({"access": "readWrite"})");
        json_decref(outcome.json);
    }
}

TEST(JsonReader, AStringCostsItsLengthHoweverItArrives) {
    std::string text = "{\"a\":\"" + std::string(4 << 20, 'x') + "\"}";
    JsonReader reader = {};
    size_t held = 0;
    size_t taken = 0;
    json_reader_state state = JSON_READER_MORE;
    size_t from = 0;
    for (size_t end = 16; state == JSON_READER_MORE;
         end += 16) {  // 262,144 pieces: hopeless if each began anew
        held = (end < text.size() ? end : text.size()) - from;
        state = json_reader_feed(&reader, text.data() + from, held, &taken);
        from += taken;
    }
    EXPECT_EQ(state, JSON_READER_WHOLE);
    json_t* json = json_reader_take(&reader);
    EXPECT_EQ(json_string_length(json_object_get(json, "a")), size_t{4 << 20});
    json_decref(json);
    json_reader_reset(&reader);
}

}  // namespace
