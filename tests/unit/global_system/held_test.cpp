#include <gtest/gtest.h>

#include <string>

#include "ox_raii.hpp"

namespace {

std::string dropped;

void note(char* name) {
    if (name) dropped += name;
}

using Noted = ox_owner<char, note>;
using Unlisted = ox_owner<char, note, ox_unheld>;

struct Held : testing::Test {
    void SetUp() override { dropped.clear(); }
    char a[2] = "a", b[2] = "b", c[2] = "c", d[2] = "d";
};

/// Room for an owner whose scope a jump leaves: nobody else calls its destructor.
template <typename T>
struct Left {
    alignas(T) unsigned char bytes[sizeof(T)];
    template <typename... A>
    T* make(A&&... arguments) {
        return new (bytes) T(std::forward<A>(arguments)...);
    }
};

TEST_F(Held, ReleasesTheNewestFirstDownToTheMark) {
    {
        Noted outside(a);
        ox_held_mark mark;
        Left<Noted> first, second, third;
        first.make(b);
        second.make(c);
        third.make(d);
        ox_held_release(mark);
        EXPECT_EQ(dropped, "dcb");
        ox_held_release(mark);
        EXPECT_EQ(dropped, "dcb");
    }
    EXPECT_EQ(dropped, "dcba");
}

TEST_F(Held, WhatWasReleasedOrGivenAwayIsReleasedOnce) {
    ox_held_mark mark;
    Left<Noted> kept, moved, given;
    Noted* from = moved.make(a);
    kept.make(static_cast<Noted&&>(*from));
    given.make(b)->release();
    { Noted inner(c); }
    ox_held_release(mark);
    EXPECT_EQ(dropped, "ca");
}

TEST_F(Held, MarksNest) {
    ox_held_mark outer;
    Left<Noted> held;
    held.make(a);
    {
        ox_held_mark inner;
        Left<Noted> deeper;
        deeper.make(b);
        ox_held_release(inner);
        EXPECT_EQ(dropped, "b");
    }
    ox_held_release(outer);
    EXPECT_EQ(dropped, "ba");
}

TEST_F(Held, AnyOrderOfLeavingKeepsTheList) {
    ox_held_mark mark;
    Left<Noted> first, second, third;
    Noted* older = first.make(a);
    Noted* middle = second.make(b);
    third.make(c);
    middle->~Noted();
    older->~Noted();
    EXPECT_EQ(dropped, "ba");
    ox_held_release(mark);
    EXPECT_EQ(dropped, "bac");
}

TEST_F(Held, TheUnheldStay) {
    Unlisted own(a);
    ox_held_mark mark;
    Left<Unlisted> left;
    Unlisted* kept = left.make(b);
    ox_held_release(mark);
    EXPECT_EQ(dropped, "");
    kept->~Unlisted();
    EXPECT_EQ(dropped, "b");
}

TEST_F(Held, DescriptorsAreClosed) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ox_held_mark mark;
    Left<Fd> left;
    left.make(ends[1]);
    ox_held_release(mark);
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 0);
    close(ends[0]);
}

}  // namespace
