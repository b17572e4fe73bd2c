// Firmware versions compared both ways, and images: a header that fits the rest, or a reason; what is made
// of any bytes is an image of them.
#include <string.h>

#include "device/image.hpp"
#include "fuzz.hpp"
#include "ox_firmware.hpp"

namespace {

void compare(const std::string& current, const std::string& next) {
    int forward = ox_firmware_version_cmp(current.c_str(), next.c_str());
    int back = ox_firmware_version_cmp(next.c_str(), current.c_str());
    REQUIRE(ox_firmware_version_cmp(current.c_str(), current.c_str()) == 0);
    if (forward == OX_FIRMWARE_UNKNOWN || back == OX_FIRMWARE_UNKNOWN) {
        REQUIRE(forward == back);
    } else if (abs(forward) == OX_FIRMWARE_FOREIGN) {
        REQUIRE(abs(back) == OX_FIRMWARE_FOREIGN);
    } else {
        REQUIRE(forward == -back && abs(forward) <= 3);
    }
}

void check(const std::string& bytes) {
    obxd::Image image;
    std::string error;
    bool fine = obxd::image_check(file_of(bytes), image, error);
    REQUIRE(fine == error.empty());
    if (!fine) return;
    REQUIRE(obxd::version_ok(image.version) && image.size < bytes.size());
    REQUIRE(image.digest.size() == 64);
}

void make(const std::string& version, const std::string& bytes) {
    obxd::Image image;
    std::string error;
    const std::string& made = second_file();
    REQUIRE(obxd::image_make(version, file_of(bytes), made, error) == obxd::version_ok(version));
    if (!obxd::version_ok(version)) return;
    REQUIRE(obxd::image_check(made, image, error));
    REQUIRE(image.version == version && image.size == bytes.size());
}

}  // namespace

// Lines: two versions, and an image.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    std::string current = input.text();
    std::string next = input.text();
    compare(current.c_str(), next.c_str());
    std::string bytes = input.rest();
    check(bytes);
    make(next, bytes);
    return 0;
}
