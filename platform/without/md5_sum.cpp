// In the place of platform/global/system/md5_sum.cpp where Mbed TLS is left out (RFC 1321).
#include "../global/system/md5_sum.hpp"

#include <stdlib.h>
#include <string.h>

#include "ox_memory.hpp"

struct Md5Sum {
    uint32_t state[4];
    uint64_t size;  // of what was added, in bytes
    uint8_t block[64];
};

namespace {

/// The whole parts of 2^32 * |sin(i + 1)|.
const uint32_t sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};
const uint8_t turns[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

uint32_t mix(int round, uint32_t b, uint32_t c, uint32_t d) {
    switch (round) {
        case 0:
            return (b & c) | (~b & d);
        case 1:
            return (d & b) | (~d & c);
        case 2:
            return b ^ c ^ d;
        default:
            return c ^ (b | ~d);
    }
}

void take_block(uint32_t state[4], const uint8_t block[64]) {
    static const uint8_t steps[4] = {1, 5, 3, 7};
    static const uint8_t starts[4] = {0, 1, 5, 0};
    uint32_t words[16];
    for (int i = 0; i < 16; ++i) {
        const uint8_t* bytes = block + 4 * i;
        words[i] = bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<uint32_t>(bytes[3]) << 24;
    }
    uint32_t a = state[0];
    uint32_t b = state[1];
    uint32_t c = state[2];
    uint32_t d = state[3];
    for (int i = 0; i < 64; ++i) {
        int round = i / 16;
        uint32_t sum = a + mix(round, b, c, d) + sines[i] + words[(starts[round] + i * steps[round]) % 16];
        int turn = turns[round][i % 4];
        a = d;
        d = c;
        c = b;
        b += sum << turn | sum >> (32 - turn);
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

}  // namespace

Md5Sum* md5_sum_new(void) {
    auto* sum = static_cast<Md5Sum*>(ox_memory_new(sizeof(Md5Sum)));
    if (!sum) return nullptr;
    *sum = {.state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476}, .size = 0, .block = {}};
    return sum;
}

bool md5_sum_add(Md5Sum* sum, const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    while (size > 0) {
        size_t held = sum->size % 64;
        size_t part = 64 - held < size ? 64 - held : size;
        memcpy(sum->block + held, bytes, part);
        sum->size += part;
        bytes += part;
        size -= part;
        if (sum->size % 64 == 0) take_block(sum->state, sum->block);
    }
    return true;
}

bool md5_sum_end(Md5Sum* sum, uint8_t digest[OX_MD5_SIZE]) {
    static const uint8_t padding[64] = {0x80};
    uint64_t bits = sum->size * 8;
    md5_sum_add(sum, padding, 1 + (64 + 55 - sum->size % 64) % 64);
    uint8_t length[8];
    for (int i = 0; i < 8; ++i) length[i] = static_cast<uint8_t>(bits >> (8 * i));
    md5_sum_add(sum, length, sizeof length);
    for (int i = 0; i < OX_MD5_SIZE; ++i)
        digest[i] = static_cast<uint8_t>(sum->state[i / 4] >> (8 * (i % 4)));
    return true;
}

void md5_sum_free(Md5Sum* sum) {
    free(sum);
}
