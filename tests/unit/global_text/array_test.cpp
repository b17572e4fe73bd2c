#include <gtest/gtest.h>

#include "ox_array.hpp"

namespace {

TEST(Array, GrowsByDoubling) {
    ox_array<uint32_t> array = {};
    size_t moves = 0;
    for (uint32_t i = 0; i < 10000; ++i) {
        size_t before = array.capacity;
        array.push(i);
        if (array.capacity != before) ++moves;
    }
    ASSERT_EQ(array.size, 10000U);
    EXPECT_LE(moves, 12U);
    uint32_t wanted = 0;
    for (uint32_t value : array) ASSERT_EQ(value, wanted++);
    array.clear();
    EXPECT_EQ(array.size, 0U);
    EXPECT_EQ(array.data, nullptr);
}

TEST(Array, AnElementOfItsOwnCanBePushed) {
    ox_array<char> array = {};
    array.push('a');
    while (array.size < 5000) array.push(array[0]);
    EXPECT_EQ(array[4999], 'a');
    array.clear();
}

TEST(Array, WhatCannotBeHadChangesNothing) {
    ox_array<uint64_t> array = {};
    array.push(7);
    EXPECT_FALSE(array.reserve(static_cast<size_t>(-1) / 8));
    EXPECT_FALSE(array.reserve(static_cast<size_t>(-1)));
    ASSERT_EQ(array.size, 1U);
    EXPECT_EQ(array[0], 7U);
    array.clear();
}

TEST(Array, NothingCanBeAppended) {
    ox_array<char> array = {};
    EXPECT_TRUE(array.append("", 0));
    EXPECT_TRUE(array.append("abc", 3));
    EXPECT_EQ(array.size, 3U);
    array.clear();
}

}  // namespace
