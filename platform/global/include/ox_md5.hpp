// MD5 digests of files.
#pragma once

#include <stddef.h>
#include <stdint.h>

enum { OX_MD5_SIZE = 16, OX_MD5_TEXT_SIZE = 33 };

/// Digest of `length` bytes of the file from `offset` on (-1: to its end). `flags` is 0.
/// Returns 0, or -1 with errno when the path names no readable regular file.
int ox_md5_calculate_from_file_region(uint8_t digest[OX_MD5_SIZE], const char* path, int flags, long offset,
                                      long length);
/// Lower-case hexadecimal text with its terminating zero. Returns 0.
int ox_md5_to_str(char text[OX_MD5_TEXT_SIZE], const uint8_t digest[OX_MD5_SIZE]);
