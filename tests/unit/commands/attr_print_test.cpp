#include "commands/attr_print.hpp"

#include <gtest/gtest.h>

#include <string>

#include "capture.hpp"
#include "ox_raii.hpp"

namespace {

std::string listing(const std::string& attributes, const char* path = "Device.X") {
    JsonRef json(json_loads(attributes.c_str(), JSON_DECODE_ANY, nullptr));
    EXPECT_NE(json.get(), nullptr) << attributes;
    JsonRef node(json_pack("{s:O}", "#attr", json.get()));
    return captured([&] { attr_print(path, node, json); });
}

const std::string head =
    "Canonical path:     :Device.X\n"
    "Type:               t\n";

struct LineCase {
    const char* attributes;  // beside the type
    const char* expected;    // below the two first lines
};

class AttrLine : public testing::TestWithParam<LineCase> {};

TEST_P(AttrLine, StandsBelowPathAndType) {
    const LineCase& c = GetParam();
    EXPECT_EQ(listing(std::string(R"({"type":"t",)") + c.attributes + "}"), head + c.expected)
        << c.attributes;
}

const LineCase lines[] = {
    {R"("base":2)", "Base:               binary\n"},
    {R"("base":8)", "Base:               octal\n"},
    {R"("base":10)", "Base:               decimal\n"},
    {R"("base":16)", "Base:               hex\n"},
    {R"("base":0)", "Base:               decimal\n"},
    {R"("base":-2)", "Base:               decimal\n"},
    {R"("base":17)", "Base:               decimal\n"},
    {R"("base":"16")", "Base:               decimal\n"},
    {R"("const":true)", "Const:              true\n"},
    {R"("default":"x")", "Default:            'x'\n"},
    {R"("default":255,"base":16)", "Base:               hex\nDefault:            0xff\n"},
    {R"("default":{})", "Default:            \n"},
    {R"("default":null)", "Default:            null\n"},
    {R"("enum":["A","B c"])", "Enum: \n  'A'\n  'B c'\n"},
    {R"("enum":[])", ""},
    {R"("enum":"A")", ""},
    {R"("enum":[8,16],"base":8)", "Base:               octal\nEnum: \n  010\n  020\n"},
    {R"("ordered":true)", "Ordered:            true\n"},
    {R"("runtime":true)", "Runtime:            true\n"},
    {R"("unique":false)", "Unique:             false\n"},
    {R"("multi":true)", "Multi-instance:     true\n"},
    {R"("foreign_key":"Device.Y.")", "Foreign key:        'Device.Y.'\n"},
    {R"("get_before_set":true)", "GET before SET:     true\n"},
    {R"("ignore_handler_set":true)", "Ignore SET handler: true\n"},
    {R"("async":true)", "Async:              true\n"},
    {R"("minLength":1)", "Minimal length:     1\n"},
    {R"("maxLength":64)", "Maximum length:     64\n"},
    {R"("minInclusive":-5)", "Minimal inclusive:  -5\n"},
    {R"("maxInclusive":4294967295)", "Maximum inclusive:  4294967295\n"},
    {R"("minCount":0)", "Minimal count:      0\n"},
    {R"("maxCount":3)", "Maximum count:      3\n"},
    {R"("offValue":"")", "OFF value:          ''\n"},
    {R"("regex":"^a$")", "Regex:              '^a$'\n"},
    {R"("mappings":["m"])", "Mappings: \n  'm'\n"},
    {R"("access":"Denied","perms":"x","other":1)", ""},
    {R"("handlers":[{"action":0,"handler":"a"},{"action":1,"handler":"b"},{"action":2,"handler":"c"},
        {"action":3,"handler":"d"},{"action":4,"handler":"e"},{"action":5,"handler":"f"}])",
     "Handler get:        a\nHandler set:        b\nHandler add:        c\n"
     "Handler del:        d\nHandler execute:        e\nHandler redraw:        f\n"},
    {R"("handlers":[{"action":7,"handler":"a"},{"action":-1,"handler":"b"},{"action":1},{"action":1,"handler":2}])",
     ""},
    {R"("relations":[{"verdict":0,"match":"a"},{"verdict":1,"match":"b"},{"verdict":2,"match":"c"},
        {"verdict":3,"match":"d"},{"verdict":4,"match":"e"},{"verdict":5,"match":"f"},{"verdict":-1,"match":"g"}])",
     "Relations: \n  deny before 'a' delete\n  cascade before 'b' delete\n  clear before 'c' delete\n"
     "  continue before 'd' delete\n  binary before 'e' delete\n  unknown before 'f' delete\n"
     "  unknown before 'g' delete\n"},
    {R"("relations":[])", ""},
    {R"("relations":[{"verdict":0}])", "Relations: \n  deny before '' delete\n"},
};
INSTANTIATE_TEST_SUITE_P(Lines, AttrLine, testing::ValuesIn(lines));

TEST(AttrPrint, TheOrderIsFixed) {
    EXPECT_EQ(listing(R"({"relations":[{"verdict":1,"match":"r"}],"mappings":[1],"regex":"x","offValue":0,
        "handlers":[{"action":0,"handler":"h"}],"maxCount":6,"minCount":5,"maxInclusive":4,"minInclusive":3,
        "maxLength":2,"minLength":1,"async":true,"ignore_handler_set":true,"get_before_set":true,
        "foreign_key":"k","multi":true,"unique":true,"runtime":true,"ordered":true,"enum":["e"],"default":"d",
        "const":true,"base":10,"type":"t"})"),
              head +
                  "Base:               decimal\n"
                  "Const:              true\n"
                  "Default:            'd'\n"
                  "Enum: \n  'e'\n"
                  "Ordered:            true\n"
                  "Runtime:            true\n"
                  "Unique:             true\n"
                  "Multi-instance:     true\n"
                  "Foreign key:        'k'\n"
                  "GET before SET:     true\n"
                  "Ignore SET handler: true\n"
                  "Async:              true\n"
                  "Minimal length:     1\n"
                  "Maximum length:     2\n"
                  "Minimal inclusive:  3\n"
                  "Maximum inclusive:  4\n"
                  "Minimal count:      5\n"
                  "Maximum count:      6\n"
                  "Handler get:        h\n"
                  "OFF value:          0\n"
                  "Regex:              'x'\n"
                  "Mappings: \n  1\n"
                  "Relations: \n  cascade before 'r' delete\n");
}

TEST(AttrPrint, AnUnpackFailureIsToldAndTheRestShown) {
    const std::string rest = "Canonical path:     :Device.X\nType:               \n";
    EXPECT_EQ(listing(R"({"const":true})"), "attr parse error on 1:6 : Object item not found: type\n" + rest);
    EXPECT_EQ(listing("[1]"), "attr parse error on 1:1 : Expected object, got array\n" + rest);
    EXPECT_EQ(listing(R"({"type":5})"), "attr parse error on 1:6 : Expected string, got integer\n" + rest);
}

TEST(AttrPrint, AbsentAttributesAreAnUnpackFailure) {
    std::string text = captured([] { attr_print("P", nullptr, nullptr); });
    EXPECT_EQ(text,
              "attr parse error on -1:-1 : NULL root value\n"
              "Canonical path:     :P\nType:               \n");
}

}  // namespace
