#include "digest.hpp"

#include <gtest/gtest.h>

namespace {

using namespace obxd;

TEST(Digests, AreThoseOfTheStandards) {
    const struct {
        const char *algorithm, *digest;
    } rows[] = {
        {"MD5", "900150983cd24fb0d6963f7d28e17f72"},
        {"SHA1", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {"SHA-1", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {"SHA-256", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"SHA-7", ""},
        {"", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(digest_of(row.algorithm, "abc"), row.digest) << row.algorithm;
        Digest parts(row.algorithm);
        parts.add("a", 1);
        parts.add("bc", 2);
        EXPECT_EQ(parts.end(), row.digest) << row.algorithm;
    }
}

TEST(Digests, OfFiles) {
    EXPECT_EQ(digest_of_file("MD5", "/dev/null"), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(digest_of_file("MD5", "/nonexistent"), "");
    EXPECT_EQ(digest_of_file("MD5", "/"), "") << "no file";
}

TEST(Hexadecimal, OfBytes) {
    const unsigned char bytes[] = {0, 0x0a, 0xff};
    EXPECT_EQ(hex_text(bytes, 3), "000aff");
    EXPECT_EQ(hex_random(8).size(), 16u);
    EXPECT_NE(hex_random(8), hex_random(8));
}

}  // namespace
