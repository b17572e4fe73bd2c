// Firmware versions.
#pragma once

enum { OX_FIRMWARE_FOREIGN = 2147483647, OX_FIRMWARE_UNKNOWN = 4 };

/// Compares dotted version numbers with an optional suffix ("2.4.1-rc2"); blanks around them and a "v" in
/// front do not count. 0: equal, as two equal texts of any kind are. 3 / -3: the first component differs, 2 /
/// -2: the second, 1 / -1: a later one or the suffix; positive when `next` is the newer one. A product's name
/// may stand in front ("ROUTER-2.4.1"): where both texts have one and the names differ, whatever their case,
/// the value is OX_FIRMWARE_FOREIGN, or its negative where the number of `next` is the older one.
/// OX_FIRMWARE_UNKNOWN when a text is null or no version: nothing can be said about the two.
int ox_firmware_version_cmp(const char* current, const char* next);
