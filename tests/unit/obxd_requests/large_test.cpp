#include "requests/large.hpp"

#include <gtest/gtest.h>

namespace {

using namespace obxd;

TEST(LargeMessages, Outlines) {
    const std::pair<const char*, const char*> rows[] = {
        {"{\"id\":1}", "{\"id\":1}"},
        {"{\"a\":{\"id\":2},\"id\":\"x\",\"b\":[1,{\"c\":[]}]}", "{\"a\":null,\"id\":\"x\",\"b\":null}"},
        {"{ \"a\" : [ ] , \"}\\\"{\" : \"[\\\\\" }", "{ \"a\" : null , \"}\\\"{\" : \"[\\\\\" }"},
        {"{\"a\":[\"]\",\"\\\"]\"],\"id\":7}", "{\"a\":null,\"id\":7}"},
    };
    for (auto& [text, outline] : rows) EXPECT_EQ(message_outline(text), outline);
    EXPECT_EQ(message_outline("{\"a\":\"" + std::string(100000, 'x') + "\"}"), "");
    EXPECT_EQ(message_outline("{\"a\":[\"" + std::string(100000, 'x') + "\"]}"), "{\"a\":null}");
}

TEST(LargeMessages, AreReadOrToldWhyNot) {
    const std::pair<const char*, Reading> rows[] = {
        {"{\"a\":[1,2.5,\"x\",null,true]}", Reading::WHOLE},
        {"{\"a\":\"\\\\u0000\"}", Reading::WHOLE},
        {"{\"a\":\"\\u0000\"}", Reading::UNFIT},
        {"{\"a\":\"\\\\\\u0000\"}", Reading::UNFIT},
        {"{\"\\u0000\":1}", Reading::UNFIT},
        {"{\"a\":99999999999999999999 }", Reading::UNFIT},
        {"{\"a\":}", Reading::BROKEN},
        {"{\"a\":\"\xff\"}", Reading::BROKEN},
    };
    for (auto& [text, expected] : rows) {
        obxd::JsonRef message, same(json_loads(text, 0, nullptr));
        EXPECT_EQ(large_read(text, message), expected) << text;
        if (expected == Reading::WHOLE) {
            EXPECT_TRUE(json_equal(message, same)) << text;
        }
    }
}

}  // namespace
