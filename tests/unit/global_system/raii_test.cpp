// Owners release what they held, whatever they are given next.
#include <gtest/gtest.h>

#include <utility>

#include "ox_raii.hpp"

TEST(Owner, TakingOverAnotherReferenceToTheSameValueLeavesOne) {
    JsonRef outside(json_object());
    JsonRef owner(json_incref(outside.get()));
    owner.reset(json_incref(outside.get()));
    EXPECT_EQ(owner.get(), outside.get());
    EXPECT_EQ(outside->refcount, 2u);
    owner.reset();
    EXPECT_EQ(owner.get(), nullptr);
    EXPECT_EQ(outside->refcount, 1u);
}

TEST(Owner, MovingIsHandingOver) {
    JsonRef first(json_object());
    json_t* value = first;
    JsonRef second(std::move(first));
    EXPECT_EQ(second.get(), value);
    JsonRef& itself = second;
    second = std::move(itself);
    EXPECT_EQ(second.get(), value);
    EXPECT_EQ(second->refcount, 1u);
    JsonRef third(json_array());
    third = std::move(second);
    EXPECT_EQ(third.get(), value);
    EXPECT_EQ(third->refcount, 1u);
}
