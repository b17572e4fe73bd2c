// The elements of a "ParameterList": handed on while the text arrives, and nothing of them is kept.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "platform/global/jrpc/json_reader.hpp"

namespace {

using Texts = std::vector<std::string>;

struct Taken {
    Texts texts;
    std::vector<const json_t*> attributes;
    int begins = 0;
};

std::string dumped(const json_t* json) {
    char* text = json ? json_dumps(json, JSON_ENCODE_ANY | JSON_COMPACT) : nullptr;
    std::string copy = text ? text : "nothing";
    free(text);
    return copy;
}

void take(void* context, const ox_list_element* element) {
    auto* taken = static_cast<Taken*>(context);
    std::string text = element->name ? std::string(element->name, element->name_length) : "unnamed";
    if (element->type == JSON_STRING) {
        text += "='" + std::string(element->text, element->text_length) + "'";
    } else if (element->type == JSON_INTEGER) {
        text += "=" + std::to_string(element->integer);
    } else if (element->type >= 0) {
        text += "=" + dumped(element->value);
    }
    if (element->attributes) text += " " + dumped(element->attributes);
    taken->texts.push_back(text);
    taken->attributes.push_back(element->attributes);
}

void begin(void* context) {
    auto* taken = static_cast<Taken*>(context);
    taken->texts.clear();
    taken->begins++;
}

void choose(JsonReader* reader, ox_list_taker* taker) {
    reader->elements.choose = [](void* context, const json_t*) {
        return static_cast<const ox_list_taker*>(context);
    };
    reader->elements.context = taker;
}

/// Reads a text in pieces of `step` bytes; what is left of it as a value, or the state where that is none.
std::string read(const std::string& text, size_t step, Taken* taken) {
    ox_list_taker own = {begin, take, taken};
    JsonReader reader = {};
    choose(&reader, &own);
    json_reader_state state = JSON_READER_MORE;
    std::string held;
    for (size_t at = 0; at < text.size() && state == JSON_READER_MORE; at += step) {
        held += text.substr(at, step);
        size_t size = 0;
        state = json_reader_feed(&reader, held.data(), held.size(), &size);
        held.erase(0, size);
    }
    std::string result = "state " + std::to_string(state);
    if (state == JSON_READER_WHOLE) {
        json_t* json = json_reader_take(&reader);
        result = dumped(json);
        json_decref(json);
    }
    json_reader_reset(&reader);
    return result;
}

TEST(JsonElements, AreHandedOnAndLeaveAnEmptyList) {
    struct {
        const char* list;
        Texts expected;
    } rows[] = {
        {R"([])", {}},
        {R"([{"Name":"A.B","Value":"x y"}])", {"A.B='x y'"}},
        {R"([{"Value":-12,"Name":"A"},{"Name":"B","Value":12345678901234567}])",
         {"A=-12", "B=12345678901234567"}},
        {R"([{"Name":"A","Value":9223372036854775807}])", {"A=9223372036854775807"}},
        {R"([{"Name":"A","Value":1.5},{"Name":"B","Value":true},{"Name":"C","Value":null}])",
         {"A=1.5", "B=true", "C=null"}},
        {R"([{"Name":"A","Value":[1,{"b":[]}]},{"Name":"B","Value":{"c":{}}}])",
         {"A=[1,{\"b\":[]}]", "B={\"c\":{}}"}},
        {R"([{"Name":"A\u0042\n","Value":"\"\u00e4\u0000z"}])", {std::string("AB\n='\"\xc3\xa4\0z'", 11)}},
        {R"([{"Name":"A","Attributes":{"type":"int"}},{"Name":"B","Attributes":{"type":"int"}}])",
         {"A {\"type\":\"int\"}", "B {\"type\":\"int\"}"}},
        {R"([{"Name":"A","Writable":true},{"Name":"B","Other":{"Name":"no"},"Attributes":[]}])",
         {"A", "B []"}},
        {R"([{},{"Name":5},{"Name":"A","Name":[]},{"Value":"v"}])",
         {"unnamed", "unnamed", "unnamed", "unnamed='v'"}},
        {R"([{"Name":"A","Value":"x","Value":2},{"Name":"A","Name":"B","Value":[1],"Value":"y"}])",
         {"A=2", "B='y'"}},
        {R"([1,"x",[{"Name":"no"}],null,{"Name":"A"}])", {"A"}},
    };
    for (const auto& row : rows) {
        std::string text = std::string(R"({"jsonrpc":"2.0","id":1,"result":{"ParameterList":)") + row.list +
                           R"(,"More":1}})";
        for (size_t step : {size_t{1}, size_t{7}, text.size()}) {
            Taken taken;
            EXPECT_EQ(read(text, step, &taken),
                      R"({"jsonrpc":"2.0","id":1,"result":{"ParameterList":[],"More":1}})")
                << row.list;
            EXPECT_EQ(taken.texts, row.expected) << row.list << " in pieces of " << step;
        }
    }
}

TEST(JsonElements, OnlyTheListOfTheResultIsHandedOn) {
    for (const char* text :
         {R"({"params":{"ParameterList":[{"Name":"A"}]}})", R"({"ParameterList":[{"Name":"A"}]})",
          R"({"result":[{"ParameterList":[{"Name":"A"}]}]})",
          R"({"result":{"a":{"ParameterList":[{"Name":"A"}]}}})",
          R"({"error":{"ParameterList":[{"Name":"A"}]}})"}) {
        Taken taken;
        EXPECT_EQ(read(text, 3, &taken), text);
        EXPECT_TRUE(taken.texts.empty()) << text;
    }
}

TEST(JsonElements, OfTwoListsTheLastOneCounts) {
    struct {
        const char* text;
        Texts expected;
    } rows[] = {
        {R"({"result":{"ParameterList":[{"Name":"A"}],"ParameterList":[{"Name":"B"}]}})", {"B"}},
        {R"({"result":{"ParameterList":[{"Name":"A"}],"ParameterList":5}})", {}},
        {R"({"result":{"ParameterList":[{"Name":"A"}]},"result":{}})", {}},
        {R"({"result":{"ParameterList":[{"Name":"A"}]},"result":{"ParameterList":[{"Name":"B"}]}})", {"B"}},
    };
    for (const auto& row : rows) {
        Taken taken;
        read(row.text, 5, &taken);
        EXPECT_EQ(taken.texts, row.expected) << row.text;
    }
}

TEST(JsonElements, BrokenOnesAreBroken) {
    for (const char* list :
         {"[{]", "[{\"Name\"}]", "[{\"Name\":\"A\"]", "[{\"Name\":\"A\xff\"}]", "[{\"Value\":[}}]"}) {
        Taken taken;
        std::string text = std::string("{\"result\":{\"ParameterList\":") + list + "}}";
        EXPECT_EQ(read(text, 1, &taken), "state 2") << list;
    }
}

TEST(JsonElements, EqualAttributesAreOneObject) {
    std::string text = R"({"result":{"ParameterList":[)";
    for (int i = 0; i < 3000; ++i) {
        text += (i ? "," : "") + std::string(R"({"Name":"A","Attributes":{"type":"int","n":)") +
                std::to_string(i % 300) + "}}";
    }
    Taken taken;
    read(text + "]}}", 1000, &taken);
    ASSERT_EQ(taken.attributes.size(), 3000U);
    for (size_t i = 300; i < 3000; ++i) ASSERT_EQ(taken.attributes[i], taken.attributes[i - 300]) << i;
}

TEST(JsonElements, AListOfAnyLengthTakesNoMemory) {
    std::string element = R"({"Name":"Device.Some.Name","Value":[[],{},"text"]})";
    JsonReader reader = {};
    static size_t count = 0;
    ox_list_taker taker = {[](void*) {}, [](void*, const ox_list_element*) { ++count; }, nullptr};
    choose(&reader, &taker);
    size_t taken = 0;
    std::string head = R"({"result":{"ParameterList":[)";
    json_reader_feed(&reader, head.data(), head.size(), &taken);
    std::string piece = element + ",";
    for (int i = 0; i < 20000; ++i) json_reader_feed(&reader, piece.data(), piece.size(), &taken);
    EXPECT_EQ(count, 20000U);
    EXPECT_LT(reader.cost, 2000U);
    // A taker that goes away meanwhile gets nothing more, and nothing is kept either.
    reader.elements.taker = nullptr;
    json_reader_feed(&reader, piece.data(), piece.size(), &taken);
    EXPECT_EQ(count, 20000U);
    EXPECT_LT(reader.cost, 2000U);
    json_reader_reset(&reader);
}

TEST(JsonReaderMemory, TextsOfManyTimesTheirLengthAreRefused) {
    for (const char* piece : {"{},", "[],", "[[]],", "{\"a\":{}},", "1,", "\"\","}) {
        std::string text = "{\"a\":[";
        while (text.size() < (size_t{6} << 20)) text += piece;
        JsonReader reader = {};
        size_t taken = 0;
        json_reader_state state = json_reader_feed(&reader, text.data(), text.size(), &taken);
        EXPECT_EQ(state, JSON_READER_LARGE) << piece;
        EXPECT_LE(reader.cost, 2 * text.size() + (size_t{33} << 20)) << piece;
        json_reader_reset(&reader);
    }
    // A configuration of some size is none of them.
    std::string text = "{\"a\":{";
    for (int i = 0; i < 200000; ++i) text += "\"Parameter" + std::to_string(i) + "\":\"some text\",";
    JsonReader reader = {};
    size_t taken = 0;
    EXPECT_EQ(json_reader_feed(&reader, text.data(), text.size(), &taken), JSON_READER_MORE);
    json_reader_reset(&reader);
}

}  // namespace
