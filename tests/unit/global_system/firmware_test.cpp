// Firmware versions.
#include <gtest/gtest.h>

#include "ox_firmware.hpp"

namespace {

struct Versions {
    const char* current;
    const char* next;
    int order;
};

TEST(Firmware, VersionsCompare) {
    const Versions rows[] = {
        {"2.4.1", "2.4.1", 0},
        {"2.4.1", "3.0.0", 3},
        {"2.4.1", "1.9.9", -3},
        {"2.4.1", "2.5.0", 2},
        {"2.4.1", "2.3.9", -2},
        {"2.4.1", "2.4.2", 1},
        {"2.4.1", "2.4.0", -1},
        {"2.9", "2.10", 2},
        {"9", "10", 3},
        {"2.4.1.1", "2.4.1.2", 1},
        {"2.4", "2.4.0", 0},
        {"2.4", "2.4.1", 1},
        {"2", "2.1", 2},
        {"02.4", "2.04", 0},
        {"99999999999999999999.1", "100000000000000000000.1", 3},
        {"2.4.1-rc1", "2.4.1", 1},
        {"2.4.1", "2.4.1-rc1", -1},
        {"2.4.1-rc9", "2.4.1-rc10", 1},
        {"2.4.1-rc2", "2.4.1-rc1", -1},
        {"2.4.1-rc2", "2.4.1-rc2", 0},
        {"2.4.1", "2.4.1-15", 1},
        {"2.4.1a", "2.4.1b", 1},
        {"2.4.1-rc1", "2.5.0-rc1", 2},
        {"2.4.1", " 2.4.1", 0},
        {"\t2.4.1 ", "2.5.0\n", 2},
        {"v2.4.1", "2.4.1", 0},
        {"V2.4.1", " v3.0", 3},
        {"v2", "v1", -3},
        {"", "", 0},
        {"factory", "factory", 0},
        {"factory ", " factory", 0},
        {"2.4.1 beta", "2.4.1 beta", 0},
        {"ROUTER-2.4.1", "ROUTER-2.4.1", 0},
        {"ROUTER-2.4.1", "ROUTER-2.5.0-rc1", 2},
        {"router-2.4.1", "ROUTER-v1.0", -3},
        {"X200-5G-1.2.3", "X200-5G-2.0.0", 3},
        {"5GBOX-1.2.3", "5GBOX-2.0.0", 3},
        {"ROUTER-2.4.1", "2.4.2", 1},
        {"2.4.1", "ROUTER-2.4.1", 0},
        {"ROUTER-2.4.1", "SWITCH-2.4.1", OX_FIRMWARE_FOREIGN},
        {"ROUTER-2.4.1", "SWITCH-9.0", OX_FIRMWARE_FOREIGN},
        {"ROUTER-2.4.1", "ROUTER2-2.4.0", -OX_FIRMWARE_FOREIGN},
        {"2.4.1", "factory", OX_FIRMWARE_UNKNOWN},
        {"factory", "2.4.1", OX_FIRMWARE_UNKNOWN},
        {"factory", "foreign", OX_FIRMWARE_UNKNOWN},
        {"factory-7", "release-8", OX_FIRMWARE_UNKNOWN},
        {"my router-1.2.3", "-1.2.3", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", "", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", "2..1", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", "2.4.", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", "v", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", "vv2.4.1", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", "2.4.1 beta", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", nullptr, OX_FIRMWARE_UNKNOWN},
        {nullptr, "2.4.1", OX_FIRMWARE_UNKNOWN},
        {nullptr, nullptr, OX_FIRMWARE_UNKNOWN},
    };
    for (const Versions& row : rows) {
        EXPECT_EQ(ox_firmware_version_cmp(row.current, row.next), row.order)
            << (row.current ? row.current : "null") << " " << (row.next ? row.next : "null");
    }
}

}  // namespace
