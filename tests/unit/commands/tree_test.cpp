#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "capture.hpp"
#include "commands/tree_draw.hpp"
#include "cpu_time.hpp"
#include "model/node.hpp"
#include "ox_raii.hpp"

namespace {

JsonRef json_of(const std::string& text) {
    json_error_t error = {};
    JsonRef json(text.empty() ? nullptr : json_loads(text.c_str(), JSON_DECODE_ANY, &error));
    EXPECT_EQ(json.get() == nullptr, text.empty()) << error.text << " in " << text;
    return json;
}

/// The tree as a terminal with or without line drawing shows it.
std::string drawn(const json_t* value, const json_t* scheme, bool lines, const char* name = "top") {
    setenv("LC_ALL", lines ? "C.UTF-8" : "C", 1);
    return captured([=] { tree_draw_root(value, scheme, name); });
}

struct TreeCase {
    const char* what;
    const char* value;
    const char* scheme;  // "": none
    const char* expected;
};

class TreeDrawing : public testing::TestWithParam<TreeCase> {};

TEST_P(TreeDrawing, IsExact) {
    const TreeCase& c = GetParam();
    JsonRef value(json_of(c.value));
    JsonRef scheme(json_of(c.scheme));
    EXPECT_EQ(drawn(value, scheme, false), c.expected) << c.what;
}

#define LEAF "{\"#attr\":{\"type\":\"string\"}}"

const TreeCase trees[] = {
    {"leaf", "5", "", "top = 5\n"},
    {"leaf in its base", "255", R"({"#attr":{"type":"int","base":16}})", "top = 0xff\n"},
    {"null", "null", "", "top = null\n"},
    {"array", "[1, {}]", "", "top = [1, {}]\n"},
    {"empty", "{}", "", ""},
    {"only empty objects", R"({"a":{"b":{},"c":{"d":{}}}})", "", ""},
    {"without schema in stored order", R"({"b":1,"a":{"c":2},"d":"x"})", "",
     "top\n"
     "|-- b = 1\n"
     "|-- a\n"
     "|   |__ c = 2\n"
     "|__ d = 'x'\n"},
    {"leaves first", R"({"o":{"x":1},"Long":1,"a":true})",
     R"({"o":{"#attr":{"type":"object"},"x":)" LEAF R"(},"Long":)" LEAF R"(,"a":)" LEAF "}",
     "top \n"
     "|-- Long = 1\n"
     "|-- a    = true\n"
     "|__ o   \n"
     "    |__ x = 1\n"},
    {"below the last child there are blanks", R"({"o":{"p":{"q":1,"r":2}}})", "",
     "top\n"
     "|__ o\n"
     "    |__ p\n"
     "        |-- q = 1\n"
     "        |__ r = 2\n"},
    {"an empty object is neither drawn nor counted", R"({"a":{"x":1},"b":{"y":{}}})", "",
     "top\n"
     "|__ a\n"
     "    |__ x = 1\n"},
    {"nor is one inside", R"({"a":{"e":{},"x":1,"f":{"g":{}}},"b":2})", "",
     "top\n"
     "|-- a\n"
     "|   |__ x = 1\n"
     "|__ b = 2\n"},
    {"max_instance last", R"({"max_instance":7,"1":{"x":1},"n":3})", "",
     "top         \n"
     "|-- 1           \n"
     "|   |__ x = 1\n"
     "|-- n            = 3\n"
     "|__ max_instance = 7\n"},
    {"max_instance alone", R"({"max_instance":0})", "",
     "top         \n"
     "|__ max_instance = 0\n"},
    {"an empty max_instance is not drawn", R"({"max_instance":{},"a":1})", "",
     "top\n"
     "|__ a = 1\n"},
    {"longer and shorter keys are ordinary", R"({"max_instances":1,"max_instanc":2})", "",
     "top          \n"
     "|-- max_instances = 1\n"
     "|__ max_instanc   = 2\n"},
    {"attributes are not drawn",
     R"({"#attr":{"type":"object"},"a":{"#attr":{"type":"string"}},"#template":{"b":1}})", "",
     "top\n"
     "|-- a\n"
     "|__ #template\n"
     "    |__ b = 1\n"},
    {"empty attributes make no node", R"({"a":{"#attr":{}},"b":{"#attr":{"x":0}}})", "",
     "top\n"
     "|__ b\n"},
    {"instances take the template's schema", R"({"1":{"o":{"y":2},"x":255},"01x":{"x":255}})",
     R"({"#template":{"x":{"#attr":{"type":"int","base":16}}}})",
     "top\n"
     "|-- 1\n"
     "|   |-- x = 0xff\n"
     "|   |__ o\n"
     "|       |__ y = 2\n"
     "|__ 01x\n"
     "    |__ x = 255\n"},
    {"an instance's own schema goes before the template's", R"({"1":{"x":8}})",
     R"({"#template":{"x":{"#attr":{"base":16}}},"1":{"x":{"#attr":{"base":8}}}})",
     "top\n"
     "|__ 1\n"
     "    |__ x = 010\n"},
    {"names are no formats", R"({"%s%n":"%d"})", "",
     "top \n"
     "|__ %s%n = '%d'\n"},
};
INSTANTIATE_TEST_SUITE_P(Trees, TreeDrawing, testing::ValuesIn(trees));

TEST(Tree, LineDrawingTerminalsGetLines) {
    JsonRef value(json_of(R"({"a":{"x":1,"y":2},"b":{"z":3}})"));
    EXPECT_EQ(drawn(value, nullptr, true),
              "top\n"
              "├── a\n"
              "│   ├── x = 1\n"
              "│   └── y = 2\n"
              "└── b\n"
              "    └── z = 3\n");
}

TEST(Tree, ADrawingLeavesItsDocumentsAlone) {
    JsonRef value(json_of(R"({"a":{"e":{}},"b":1})"));
    JsonRef copy(json_deep_copy(value));
    drawn(value, value, false);
    EXPECT_TRUE(json_equal(value, copy));
}

/// An object with one member at each of `depth` levels and a leaf, or nothing, at the end.
JsonRef chain(int depth, bool leaf) {
    json_t* value = leaf ? json_integer(1) : json_object();
    for (int i = 0; i < depth; i++) {
        json_t* outer = json_object();
        json_object_set_new(outer, "n", value);
        value = outer;
    }
    return JsonRef(value);
}

size_t line_count(const std::string& text) {
    size_t count = 0;
    for (char c : text) count += c == '\n';
    return count;
}

TEST(Tree, DepthIsBounded) {
    JsonRef deepest(chain(256, true));
    EXPECT_EQ(line_count(drawn(deepest, nullptr, false)), 257U);
    JsonRef deeper(chain(300, true));
    EXPECT_EQ(line_count(drawn(deeper, nullptr, false)), 257U);
    JsonRef empty(chain(2000, false));
    EXPECT_EQ(drawn(empty, nullptr, false), "");
}

/// What lies below the last drawn level was never measured, and is not looked at.
TEST(Tree, WideObjectsAtTheBoundAreDrawnAlone) {
    JsonRef wide(json_object());
    for (int i = 0; i < 5000; i++) json_object_set_new(wide, std::to_string(i).c_str(), json_integer(i));
    JsonRef value(json_incref(wide));
    for (int i = 0; i < 256; i++) value.reset(json_pack("{s:O}", "n", value.get()));
    EXPECT_EQ(line_count(drawn(value, nullptr, false)), 257U);
}

/// A tree of `count` nodes: objects of ten members, some of them empty subtrees.
JsonRef large(int count) {
    json_t* top = json_object();
    for (int i = 0; i < count; i++) {
        char outer[16];
        char inner[16];
        snprintf(outer, sizeof outer, "%d", i / 100);
        snprintf(inner, sizeof inner, "k%d", i % 100);
        json_t* object = json_object_get(top, outer);
        if (!object) json_object_set_new(top, outer, object = json_object());
        json_object_set_new(object, inner, i % 3 ? json_integer(i) : json_pack("{s:{}}", "e"));
    }
    return JsonRef(top);
}

double seconds_to_draw(const JsonRef& value) {
    return least_cpu_seconds([&] { drawn(value, nullptr, false); });
}

TEST(Tree, CostsGrowWithTheNumberOfNodes) {
    double small = seconds_to_draw(large(10000));
    double big = seconds_to_draw(large(80000));
    EXPECT_LT(big, small * 8 * 4 + 0.05);
}

/// Each level holds an empty wide object and then the next level.
JsonRef deep(int levels) {
    json_t* value = json_integer(1);
    for (int depth = 0; depth < levels; depth++) {
        json_t* outer = json_object();
        json_t* wide = json_object();
        for (int i = 0; i < 200; i++) json_object_set_new(wide, std::to_string(i).c_str(), json_object());
        json_object_set_new(outer, "a", wide);
        json_object_set_new(outer, "b", value);
        value = outer;
    }
    return JsonRef(value);
}

/// Asking for emptiness anew at every level would cost the depth times the size.
TEST(Tree, EmptinessIsFoundOnce) {
    EXPECT_EQ(line_count(drawn(deep(250), nullptr, false)), 251U);
    JsonRef shallow(json_object());  // of the same size
    for (int i = 0; i < 10; i++) json_object_set(shallow, std::to_string(i).c_str(), deep(25));
    EXPECT_LT(seconds_to_draw(deep(250)), seconds_to_draw(shallow) * 4);
}

struct LookupCase {
    const char* key;
    const char* expected;  // the "n" of what is found, or null
};

class TreeLookup : public testing::TestWithParam<LookupCase> {};

TEST_P(TreeLookup, FallsBackToTheTemplate) {
    JsonRef node(json_of(R"({"a":{"n":"a"},"2":{"n":"2"},"#template":{"n":"t"}})"));
    const json_t* child = node_child_find(node, GetParam().key, strlen(GetParam().key));
    const char* found = json_string_value(json_object_get(child, "n"));
    EXPECT_STREQ(found, GetParam().expected) << GetParam().key;
}

const LookupCase lookups[] = {
    {"a", "a"},
    {"2", "2"},
    {"3", "t"},
    {"007", "t"},
    {"12345678901234567890", "t"},
    {"123456789012345678901", nullptr},
    {"", nullptr},
    {"3x", nullptr},
    {"x3", nullptr},
    {"-1", nullptr},
    {"b", nullptr},
    {"#template", "t"},
};
INSTANTIATE_TEST_SUITE_P(Keys, TreeLookup, testing::ValuesIn(lookups));

TEST(Tree, LookupsTakeTheLengthOfTheKey) {
    JsonRef node(json_of(R"({"ab":1,"#template":{"n":1}})"));
    EXPECT_TRUE(json_is_integer(node_child_find(node, "abc", 2)));
    EXPECT_TRUE(json_is_object(node_child_find(node, "12x", 2)));
    EXPECT_EQ(node_child_find(nullptr, "a", 1), nullptr);
    JsonRef leaf(json_integer(1));
    EXPECT_EQ(node_child_find(leaf, "1", 1), nullptr);
}

TEST(Tree, DescendsAsFarAsItGoes) {
    JsonRef root(json_of(R"({"a":{"b":{"n":1}},"t":{"#template":{"n":2}}})"));
    json_t* a = json_object_get(root, "a");
    json_t* b = json_object_get(a, "b");
    EXPECT_EQ(tree_descend(root, ""), root.get());
    EXPECT_EQ(tree_descend(root, "."), root.get());
    EXPECT_EQ(tree_descend(root, "a.b"), b);
    EXPECT_EQ(tree_descend(root, "a..b."), b);
    EXPECT_EQ(tree_descend(root, ".a."), a);
    EXPECT_EQ(tree_descend(root, "a.x.b"), a);
    EXPECT_EQ(tree_descend(root, "x"), root.get());
    EXPECT_EQ(json_integer_value(json_object_get(tree_descend(root, "t.5"), "n")), 2);
    EXPECT_EQ(tree_descend(nullptr, "a"), nullptr);
}

TEST(Tree, EmptySubtrees) {
    for (const char* text : {"{}", R"({"a":{}})", R"({"a":{"b":{}},"c":{}})"}) {
        EXPECT_TRUE(json_is_object_tree(json_of(text))) << text;
    }
    for (const char* text :
         {"1", "null", "[]", "\"\"", R"({"a":1})", R"({"a":{"b":null},"c":{}})", R"({"a":[]})"}) {
        EXPECT_FALSE(json_is_object_tree(json_of(text))) << text;
    }
}

}  // namespace
