#include "md5_sum.hpp"

#include <mbedtls/md.h>
#include <stdlib.h>

#include "ox_memory.hpp"

struct Md5Sum {
    mbedtls_md_context_t context;
    bool fine;
};

Md5Sum* md5_sum_new(void) {
    auto* sum = static_cast<Md5Sum*>(ox_memory_new(sizeof(Md5Sum)));
    if (!sum) return nullptr;
    mbedtls_md_init(&sum->context);
    int prepared = mbedtls_md_setup(&sum->context, mbedtls_md_info_from_type(MBEDTLS_MD_MD5), 0);
    if (prepared == MBEDTLS_ERR_MD_ALLOC_FAILED) ox_memory_failed(__func__);
    sum->fine = prepared == 0 && mbedtls_md_starts(&sum->context) == 0;
    return sum;
}

bool md5_sum_add(Md5Sum* sum, const void* data, size_t size) {
    return sum->fine && mbedtls_md_update(&sum->context, static_cast<const unsigned char*>(data), size) == 0;
}

bool md5_sum_end(Md5Sum* sum, uint8_t digest[OX_MD5_SIZE]) {
    return sum->fine && mbedtls_md_finish(&sum->context, digest) == 0;
}

void md5_sum_free(Md5Sum* sum) {
    mbedtls_md_free(&sum->context);
    free(sum);
}
