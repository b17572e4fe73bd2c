#include "requests/missed.hpp"

#include <gtest/gtest.h>

namespace {

using namespace obxd;

Change add(const char* table, uint32_t instance) {
    return {Change::ADD, table, instance, nullptr};
}

Change del(const char* path, uint32_t instance) {
    return {Change::DELETE, path, instance, nullptr};
}

std::string told(MissedChanges& missed) {
    std::string text;
    for (const Change& change : missed_take(missed))
        text += (change.kind == Change::ADD ? "+" : "-") + change.path + "=" +
                std::to_string(change.instance) + " ";
    return text;
}

TEST(Missed, ChangesAreToldInTheirOrder) {
    MissedChanges missed;
    for (const Change& each : {add("D.T.", 3), del("D.T.1.", 1), add("D.T.3.S.", 1), add("D.T.", 4)})
        EXPECT_TRUE(missed_note(missed, each));
    EXPECT_EQ(told(missed), "+D.T.=3 -D.T.1.=1 +D.T.3.S.=1 +D.T.=4 ");
    EXPECT_EQ(told(missed), "");
}

TEST(Missed, WhatCameAndWentIsLeftOut) {
    MissedChanges missed;
    for (const Change& each : {add("D.T.", 3), add("D.T.3.S.", 1), del("D.T.3.S.1.", 1), del("D.T.3.", 3)})
        EXPECT_TRUE(missed_note(missed, each));
    EXPECT_EQ(told(missed), "");
}

TEST(Missed, WhatWentAndCameAgainIsToldTwice) {
    MissedChanges missed;
    for (const Change& each : {del("D.T.3.", 3), add("D.T.", 3)}) EXPECT_TRUE(missed_note(missed, each));
    EXPECT_EQ(told(missed), "-D.T.3.=3 +D.T.=3 ");
    for (const Change& each : {del("D.T.3.", 3), add("D.T.", 3), del("D.T.3.", 3)})
        EXPECT_TRUE(missed_note(missed, each));
    EXPECT_EQ(told(missed), "-D.T.3.=3 ");
}

TEST(Missed, AFloodStaysSmallAndManyInstancesAreTooMany) {
    MissedChanges missed;
    for (uint32_t i = 1; i <= 200000; i++) {
        std::string path = "D.T." + std::to_string(i) + ".";
        ASSERT_TRUE(missed_note(missed, add("D.T.", i)));
        if (i % 1000 != 0) {
            ASSERT_TRUE(missed_note(missed, del(path.c_str(), i)));
        }
    }
    EXPECT_LT(missed.entries.size(), 20000u);
    EXPECT_EQ(missed_take(missed).size(), 200u);
    bool room = true;
    for (uint32_t i = 1; i <= 200000 && room; i++) room = missed_note(missed, add("D.T.", i));
    EXPECT_FALSE(room);
}

}  // namespace
