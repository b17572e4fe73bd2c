// Values of an answer in few bytes: what goes in comes out.
#include "commands/value_list.hpp"

#include <gtest/gtest.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "ox_raii.hpp"

namespace {

ox_list_element named(const std::string& name) {
    ox_list_element element = {};
    element.name = name.c_str();
    element.name_length = name.size();
    element.type = -1;
    return element;
}

TEST(ValueList, WhatGoesInComesOut) {
    ValueList list;
    std::vector<std::string> names = {
        "A.B.C", "A.B.Cd", "A.B.C", "", "A", std::string("A\0z", 3), "A." + std::string(300, 'n')};
    json_int_t numbers[] = {0, 1, -1, 127, 128, -300, INT64_MAX, INT64_MIN};
    std::string text = std::string("te\0xt", 5) + std::string(1000, 'x');
    JsonRef real(json_real(1.5));
    JsonRef array(json_pack("[i,s]", 1, "b"));
    JsonRef object(json_pack("{s:i}", "a", 1));
    for (const std::string& name : names) {
        ox_list_element element = named(name);
        value_list_add(&list, &element);
        element.type = JSON_STRING;
        element.text = text.data();
        element.text_length = text.size();
        value_list_add(&list, &element);
    }
    for (json_int_t number : numbers) {
        ox_list_element element = named(names[0]);
        element.type = JSON_INTEGER;
        element.integer = number;
        value_list_add(&list, &element);
    }
    for (json_t* value : {real.get(), array.get(), object.get()}) {
        ox_list_element element = named(names[1]);
        element.type = json_typeof(value);
        element.value = value;
        value_list_add(&list, &element);
    }
    ox_list_element unnamed = {};
    value_list_add(&list, &unnamed);

    ValueWalk walk(&list);
    ListedValue value;
    for (const std::string& name : names) {
        ASSERT_TRUE(value_walk_next(&walk, &value));
        EXPECT_EQ(std::string(value.name, value.name_length), name);
        EXPECT_EQ(value.kind, VALUE_NONE);
        ASSERT_TRUE(value_walk_next(&walk, &value));
        EXPECT_EQ(std::string(value.name, value.name_length), name);
        EXPECT_EQ(value.kind, VALUE_STRING);
        EXPECT_EQ(std::string(value.bytes, value.size), text);
    }
    for (json_int_t number : numbers) {
        ASSERT_TRUE(value_walk_next(&walk, &value));
        EXPECT_EQ(value.kind, VALUE_INTEGER);
        EXPECT_EQ(value.integer, number);
    }
    for (const char* encoded : {"1.5", "[1, \"b\"]", ""}) {
        ASSERT_TRUE(value_walk_next(&walk, &value));
        EXPECT_EQ(value.kind, *encoded ? VALUE_ENCODED : VALUE_NONE);
        EXPECT_EQ(std::string(value.bytes ? value.bytes : "", value.size), encoded);
    }
    EXPECT_FALSE(value_walk_next(&walk, &value));
}

TEST(ValueList, WhatTurnsOutToBeVoidIsCutOff) {
    ValueList list;
    std::string first = "Device.First";
    std::string second = "Device.Second";
    ox_list_element element = named(first);
    value_list_add(&list, &element);
    size_t mark = list.bytes.size;
    element = named(second);
    value_list_add(&list, &element);
    value_list_cut(&list, mark);
    value_list_add(&list, &element);
    ValueWalk walk(&list);
    ListedValue value;
    EXPECT_TRUE(value_walk_next(&walk, &value));
    EXPECT_EQ(std::string(value.name), first);
    EXPECT_TRUE(value_walk_next(&walk, &value));
    EXPECT_EQ(std::string(value.name), second);
    EXPECT_FALSE(value_walk_next(&walk, &value));
}

TEST(ValueList, NamesShareWhatTheyBeginWith) {
    ValueList list;
    for (int i = 0; i < 1000; ++i) {
        std::string name = "Device.Some.Rather.Long.Path.Of.Objects." + std::to_string(i) + ".Parameter";
        ox_list_element element = named(name);
        value_list_add(&list, &element);
    }
    EXPECT_LT(list.bytes.size, 20000U);
}

}  // namespace
