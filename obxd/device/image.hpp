// Firmware images of the development device.
//
// An image is a text header, an empty line, and the payload:
//
//     OBXFW 1
//     Version: 2.4.1
//     Size: 1048576
//     SHA256: (64 hexadecimal digits, of the payload)
#pragma once

#include <stdint.h>

#include <string>
#include <string_view>

namespace obxd {

struct Image {
    std::string version;
    uint64_t size = 0;   ///< of the payload
    std::string digest;  ///< SHA-256 of the payload, lower-case hexadecimal
};

/// Reads the header and checks the payload against it. False with a one-line `error`. Takes as long as
/// reading the file does: call it on a job's thread.
bool image_check(const std::string& file, Image& image, std::string& error);

/// True for 1 to 64 letters, digits, "." "_" "+" "-".
bool version_ok(std::string_view version);

/// Makes an image of the file `payload`.
bool image_make(const std::string& version, const std::string& payload, const std::string& file,
                std::string& error);

}  // namespace obxd
