// Digests of files.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "ox_md5.hpp"
#include "scripted_daemon.hpp"

namespace {

void put(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

struct Digest {
    const char* text;
    const char* digest;
};

TEST(Md5, DigestsOfTheStandard) {
    const Digest rows[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
    };
    TempDir dir;
    for (const Digest& row : rows) {
        uint8_t digest[OX_MD5_SIZE];
        char text[OX_MD5_TEXT_SIZE];
        put(dir / "f", row.text);
        EXPECT_EQ(ox_md5_calculate_from_file_region(digest, (dir / "f").c_str(), 0, 0, -1), 0);
        EXPECT_EQ(ox_md5_to_str(text, digest), 0);
        EXPECT_STREQ(text, row.digest);
    }
}

TEST(Md5, RegionsOfFiles) {
    TempDir dir;
    std::string text(70000, 'q');
    put(dir / "f", "head" + text + "tail");
    uint8_t region[OX_MD5_SIZE];
    uint8_t whole[OX_MD5_SIZE];
    EXPECT_EQ(ox_md5_calculate_from_file_region(region, (dir / "f").c_str(), 0, 4, 70000), 0);
    put(dir / "whole", text);
    EXPECT_EQ(ox_md5_calculate_from_file_region(whole, (dir / "whole").c_str(), 0, 0, -1), 0);
    EXPECT_EQ(memcmp(region, whole, sizeof(whole)), 0);
    EXPECT_EQ(ox_md5_calculate_from_file_region(region, (dir / "none").c_str(), 0, 0, -1), -1);
    EXPECT_EQ(ox_md5_calculate_from_file_region(region, (dir / ".").c_str(), 0, 0, -1), -1);
    EXPECT_EQ(ox_md5_calculate_from_file_region(region, "/dev/zero", 0, 0, -1), -1);
}

}  // namespace
