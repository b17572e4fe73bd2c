#include "platform/global/jrpc/json_pool.hpp"

#include <gtest/gtest.h>
#include <jansson.h>
#include <stdlib.h>

#include <string>
#include <vector>

namespace {

json_t* entry(int number) {
    std::string name(static_cast<size_t>(number % 300), 'n');
    return json_pack("{s:s, s:i, s:[i,i]}", "Name", name.c_str(), "Value", number, "List", number,
                     number + 1);
}

bool matches(const json_t* value, int number) {
    json_t* list = json_object_get(value, "List");
    return json_string_length(json_object_get(value, "Name")) == static_cast<size_t>(number % 300) &&
           json_integer_value(json_object_get(value, "Value")) == number &&
           json_integer_value(json_array_get(list, 1)) == number + 1;
}

TEST(JsonPool, PiecesOfBothKindsLiveTogether) {
    std::vector<json_t*> values;
    for (int i = 0; i < 30000; ++i) {
        if (i % 3 == 0) json_pool_begin();
        values.push_back(entry(i));
        json_pool_end();
    }
    for (int i = 0; i < 30000; i += 2) {  // every other one goes and comes again, pooled or not
        json_decref(values[static_cast<size_t>(i)]);
        if (i % 4 == 0) json_pool_begin();
        values[static_cast<size_t>(i)] = entry(i);
        json_pool_end();
    }
    for (int i = 0; i < 30000; ++i) EXPECT_TRUE(matches(values[static_cast<size_t>(i)], i)) << i;
    for (json_t* value : values) json_decref(value);
}

TEST(JsonPool, ValuesChangeAfterwards) {
    json_pool_begin();
    json_t* object = json_object();
    for (int i = 0; i < 10; ++i) json_object_set_new(object, std::to_string(i).c_str(), json_integer(i));
    json_pool_end();
    for (int i = 10; i < 1000; ++i)
        json_object_set_new(object, std::to_string(i).c_str(), json_string("later"));
    for (int i = 0; i < 1000; i += 3) json_object_del(object, std::to_string(i).c_str());
    EXPECT_EQ(json_object_size(object), 666U);
    EXPECT_EQ(json_integer_value(json_object_get(object, "5")), 5);
    char* text = json_dumps(object, JSON_COMPACT);
    EXPECT_EQ(text[0], '{');
    free(text);
    json_decref(object);
}

TEST(JsonPool, EmptySlabsAreUsedAgain) {
    for (int round = 0; round < 20; ++round) {
        json_pool_begin();
        json_t* list = json_array();
        for (int i = 0; i < 20000; ++i) json_array_append_new(list, entry(i + round));
        json_pool_end();
        EXPECT_TRUE(matches(json_array_get(list, 19999), 19999 + round));
        json_decref(list);
    }
}

}  // namespace
