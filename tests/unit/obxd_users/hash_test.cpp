#include "users/hash.hpp"

#include <gtest/gtest.h>

namespace {

using namespace obxd;

// As the system's own tools made them of "secret".
constexpr const char* MADE[] = {
    "$y$j9T$F5Jx5fExrKuPp53xLKQ..1$GmcwIgvdUC9qLWcKCi6gklUa1dM3ziD43YxYNURLKy0",
    "$6$saltsalt$TVLlQcbpFVof5W3Yz4DTP6gRstiNuHwwTt6GLc1E5n0U0aDehy0S5knV8wiOQSpT0Y77vwPZN.Pq.H91p5hVO1",
    "$6$rounds=1000$saltsalt$LAV5VE5Y7w1d73x1mFNspYWUpazfmwv2SoepNXNKJ/otop/Zok96Hr8Q13LEv0DRY/x8v0/crpIjl8NJ"
    "SAqXV/",
    "$5$saltsalt$0IyaXrmV7.sGNS6tirgqHLqX/G.FBvgkYA.lpPdS5sA",
};

TEST(Passwords, MatchHashesOfTheSystem) {
    for (const char* hash : MADE) {
        EXPECT_TRUE(password_hash_ok(hash)) << hash;
        EXPECT_TRUE(password_matches(hash, "secret")) << hash;
        EXPECT_FALSE(password_matches(hash, "Secret")) << hash;
        EXPECT_FALSE(password_matches(hash, "")) << hash;
        EXPECT_TRUE(password_hash_ok(HASH_LOCKED + std::string(hash))) << hash;
        EXPECT_FALSE(password_matches(HASH_LOCKED + std::string(hash), "secret")) << "locked: " << hash;
    }
}

TEST(Passwords, MatchOnlyThemselves) {
    std::string hash = password_hash("pass:word");
    EXPECT_TRUE(password_hash_ok(hash)) << hash;
    EXPECT_EQ(hash.find("pass"), std::string::npos);
    EXPECT_NE(hash, password_hash("pass:word")) << "each hash has its own salt";
    EXPECT_TRUE(password_matches(hash, "pass:word"));
    EXPECT_FALSE(password_matches(hash, "pass:wor"));
    EXPECT_FALSE(password_matches(hash, ""));
    for (const char* broken :
         {"", "x", "*0", "*1", "$", "$6", "$6$", "$6$salt", "pbkdf2-sha256$1$a$b", "!", "!!"})
        EXPECT_FALSE(password_matches(broken, "")) << broken;
}

TEST(Passwords, ThatAreTooLongMatchNothing) {
    std::string longest(511, 'x');
    EXPECT_TRUE(password_matches(password_hash(longest), longest));
    EXPECT_EQ(password_hash(longest + std::string(5000, 'x')), "");
    EXPECT_FALSE(password_matches(MADE[1], std::string(5000, 's')));
}

TEST(Tokens, AreKnownByTheirDigests) {
    EXPECT_EQ(token_hash("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
