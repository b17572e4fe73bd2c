// The page of a node.
#include <gtest/gtest.h>

#include <string>

#include "ox_raii.hpp"
#include "ox_tr_page.hpp"
#include "ox_tr_referrers.hpp"

namespace {

std::string page(const char* path, const char* attributes, size_t columns = 60, const char* inputs = nullptr,
                 const char* referrers = nullptr) {
    JsonRef json(json_loads(attributes, 0, nullptr));
    JsonRef list(inputs ? json_loads(inputs, 0, nullptr) : nullptr);
    JsonRef paths(referrers ? json_loads(referrers, 0, nullptr) : nullptr);
    CharsRef text(ox_tr_page_new(path, json, list, paths, columns));
    return text.get();
}

TEST(Page, AParameterWithEverything) {
    EXPECT_EQ(
        page("Device.A.Channel", R"({"type":"unsignedInt","access":"readWrite","default":36,"units":"MHz",
                   "ranges":[{"min":1,"max":14},{"min":36,"max":165,"step":4},{"min":200},{"max":0}],
                   "minInclusive":0,"maxInclusive":200,"since":"2.4","status":"deprecated",
                   "foreign_key":"Device.B.","relations":[{"verdict":0,"match":"Device.C.*"},
                   {"verdict":2,"match":"Device.D.*"},{"verdict":9,"match":"x"}],
                   "description":"The channel that the radio uses, which is one of those that the country allows.\nNot more."})"),
        "Device.A.Channel\n"
        "  Type      unsignedInt\n"
        "  Range     1 to 14, 36 to 165 in steps of 4, at least 200,\n"
        "            at most 0\n"
        "  Units     MHz\n"
        "  Default   36\n"
        "  Refers to Device.B.\n"
        "  On delete Device.C.*: deny\n"
        "            Device.D.*: clear\n"
        "  Since     2.4\n"
        "  Status    deprecated\n"
        "\n"
        "  The channel that the radio uses, which is one of those\n"
        "  that the country allows.\n"
        "  Not more.");
}

TEST(Page, TextsAndTheirLimits) {
    EXPECT_EQ(page("X", R"({"type":"string","access":"readOnly","unique":true,"minLength":8,"maxLength":63,
                   "enum":["Up","Down",3],"default":"Up","regex":"[a-z ]+",
                   "mappings":["Up: it works, and everybody is content with what it does","Down: it does not",5]})",
                   40),
              "X\n"
              "  Type      string, read-only, unique\n"
              "  Length    8 to 63\n"
              "  Values    'Up', 'Down', 3\n"
              "  Default   'Up'\n"
              "  Pattern   [a-z ]+\n"
              "\n"
              "    Up: it works, and everybody is\n"
              "    content with what it does\n"
              "    Down: it does not");
}

TEST(Page, ATable) {
    EXPECT_EQ(
        page("Device.T.", R"({"type":"object","access":"readWrite","multi":true,"ordered":true,"maxCount":8,
                   "keys":[["Alias"],["Name","Port"],[7]]})"),
        "Device.T.\n"
        "  Type      object, multi-instance, ordered\n"
        "  Count     at most 8\n"
        "  Keys      Alias; Name + Port; ?");
}

TEST(Page, AMethodAndItsArguments) {
    EXPECT_EQ(page("Device.Ping()", R"({"type":"method","async":true})", 60,
                   R"([{"Name":"Device.Ping().#input.","Attributes":{"type":"object"}},
                   {"Name":"Device.Ping().#input.Host","Attributes":{"type":"string","default":""}},
                   {"Name":"Device.Ping().#input.Mask","Attributes":{"type":"unsignedInt","default":255,"base":16}},
                   {"Name":"Device.Ping().#input.Block.Size","Attributes":{"type":"int"}}, 5])"),
              "Device.Ping()\n"
              "  Type      method, asynchronous\n"
              "  Arguments Host: string, default ''\n"
              "            Mask: unsignedInt, default 0xff\n"
              "            Block.Size: int");
}

TEST(Page, WhatIsNotThereOrNotUnderstoodIsLeftOut) {
    EXPECT_EQ(page("X", "{}"), "X");
    EXPECT_EQ(
        page("X",
             R"({"type":5,"ranges":7,"keys":"no","enum":{},"minLength":"x","description":"","units":""})"),
        "X");
    EXPECT_EQ(page("X", R"({"type":"string","maxLength":4,"minLength":4})"),
              "X\n  Type      string\n  Length    exactly 4");
}

TEST(Page, WordsLongerThanTheRowAndNarrowScreens) {
    EXPECT_EQ(page("X", R"({"description":"a b aaaaaaaaaaaaaaaaaaaaaaaaaaaaa c"})", 1),
              "X\n\n  a b\n  aaaaaaaaaaaaaaaaaaaaaaaaaaaaa\n  c");
    EXPECT_EQ(page("X", R"({"description":"äöü äöü äöü äöü äöü"})", 20), "X\n\n  äöü äöü äöü äöü\n  äöü");
}

TEST(Page, WhatRefersToIt) {
    EXPECT_EQ(page("Device.A", R"({"type":"object"})", 60, nullptr, R"(["Device.B.{i}.Ref", 5, "Device.C"])"),
              "Device.A\n"
              "  Type      object\n"
              "  Used by   Device.B.{i}.Ref\n"
              "            Device.C");
}

std::string referrers(const char* path) {
    JsonRef schema(json_loads(R"-({"#attr":{"type":"object"},"Device":{
        "Row":{"#attr":{"foreign_key":"no object's"},"#template":{
            "Own":{"#attr":{"foreign_key":"Device.Row.#template.Cell."}},
            "Both":{"#attr":{"foreign_key":"Device.Other.,Device.Row."}},
            "Cell":{"#attr":{},"#template":{"Up":{"#attr":{"foreign_key":"Device.Row.{i}."}}}}}},
        "Run()":{"#attr":{"type":"method"},"#input":{"On":{"#attr":{"foreign_key":"Device.Row"}}}},
        "Odd":{"#attr":{"foreign_key":7}},"None":5}})-",
                              0, nullptr));
    JsonRef found(ox_tr_referrers_new(schema, path));
    CharsRef text(json_dumps(found, JSON_COMPACT));
    return text.get();
}

TEST(Page, WhatRefersToAnObject) {
    const char rows[] = R"-(["Device.Row.{i}.Both","Device.Row.{i}.Cell.{i}.Up","Device.Run().On"])-";
    EXPECT_EQ(referrers("Device.Row."), rows);
    EXPECT_EQ(referrers("Device.Row.3."), rows);
    EXPECT_EQ(referrers("Device.Row.3.Cell.4"), R"(["Device.Row.{i}.Own"])");
    EXPECT_EQ(referrers("Device.Other"), R"(["Device.Row.{i}.Both"])");
    EXPECT_EQ(referrers("Device."), "[]");
    EXPECT_EQ(referrers("."), "[]");
}

}  // namespace
