// Firmware versions.
#pragma once

enum { OX_FIRMWARE_FOREIGN = 2147483647 };

/// Compares dotted version numbers with an optional suffix ("2.4.1-rc2"). 0: equal. 3 / -3: the first
/// component differs, 2 / -2: the second, 1 / -1: a later one or the suffix; positive when `next` is the
/// newer one. OX_FIRMWARE_FOREIGN or its negative when either text is no version: positive when `next` is the
/// one that is none. Null counts as no version.
int ox_firmware_version_cmp(const char* current, const char* next);
