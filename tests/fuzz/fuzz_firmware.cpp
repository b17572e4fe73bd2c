// Firmware versions compared both ways, and the headers of images.
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

}  // namespace

// Lines: two versions, and an image.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    std::string current = input.text();
    std::string next = input.text();
    compare(current.c_str(), next.c_str());
    obxd::Image image;
    std::string error;
    bool fine = obxd::image_check(file_of(input.rest()), image, error);
    REQUIRE(fine == error.empty());
    if (fine) REQUIRE(obxd::version_ok(image.version));
    return 0;
}
