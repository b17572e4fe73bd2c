// An MD5 digest in the making.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "ox_md5.hpp"

struct Md5Sum;
/// Null where a failure of memory is borne (ox_memory.hpp).
Md5Sum* md5_sum_new(void);
/// False when the digest cannot be made.
bool md5_sum_add(Md5Sum* sum, const void* data, size_t size);
bool md5_sum_end(Md5Sum* sum, uint8_t digest[OX_MD5_SIZE]);
void md5_sum_free(Md5Sum* sum);
