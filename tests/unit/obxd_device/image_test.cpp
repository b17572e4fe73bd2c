#include "device/image.hpp"

#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

namespace {

using namespace obxd;

class ImageFile : public testing::Test {
protected:
    std::string base_ = testing::TempDir() + "obxd_image." + std::to_string(getpid());
    std::string payload_ = base_ + ".payload";
    std::string image_ = base_ + ".img";
    std::string error_;

    static void write(const std::string& path, const std::string& text) {
        FILE* file = fopen(path.c_str(), "wb");
        fwrite(text.data(), 1, text.size(), file);
        fclose(file);
    }
    static std::string read(const std::string& path) {
        std::string text;
        FILE* file = fopen(path.c_str(), "rb");
        for (int c = 0; file && (c = fgetc(file)) != EOF;) text += static_cast<char>(c);
        if (file) fclose(file);
        return text;
    }
    void SetUp() override { write(payload_, std::string("\0\n\npayload\xff", 11)); }
    void TearDown() override {
        unlink(payload_.c_str());
        unlink(image_.c_str());
    }
};

TEST_F(ImageFile, ComesBackAsItWasMade) {
    ASSERT_TRUE(image_make("2.4.1-rc2", payload_, image_, error_)) << error_;
    Image image;
    ASSERT_TRUE(image_check(image_, image, error_)) << error_;
    EXPECT_EQ(image.version, "2.4.1-rc2");
    EXPECT_EQ(image.size, 11u);
}

TEST_F(ImageFile, EveryDamageIsSeen) {
    ASSERT_TRUE(image_make("1.0", payload_, image_, error_));
    std::string whole = read(image_);
    Image image;
    const struct {
        std::string text;
        const char* error;
    } rows[] = {
        {"", "No firmware image: the header is missing or wrong"},
        {"no image at all\n\n", "No firmware image: the header is missing or wrong"},
        {whole.substr(0, 20), "No firmware image: the header is missing or wrong"},
        {whole.substr(0, whole.size() - 1), "The image is 10 bytes long, its header says 11"},
        {whole + "x", "The image is 12 bytes long, its header says 11"},
        {whole.substr(0, whole.size() - 1) + "x", "The image's checksum is wrong"},
    };
    for (const auto& row : rows) {
        write(image_, row.text);
        EXPECT_FALSE(image_check(image_, image, error_)) << row.error;
        EXPECT_EQ(error_, row.error);
    }
    EXPECT_FALSE(image_check("/nonexistent", image, error_));
}

TEST_F(ImageFile, RefusesOddVersionsAndMissingFiles) {
    for (const char* version : {"", "1.0\nSize: 1", "a b", "../x"})
        EXPECT_FALSE(image_make(version, payload_, image_, error_)) << version;
    EXPECT_FALSE(version_ok(std::string_view("1.0\0", 4)));
    EXPECT_FALSE(image_make("1.0", "/nonexistent", image_, error_));
    EXPECT_EQ(error_, "/nonexistent: No such file or directory");
}

}  // namespace
