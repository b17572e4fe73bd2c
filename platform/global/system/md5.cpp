#include <errno.h>
#include <mbedtls/md.h>
#include <unistd.h>

#include "ox_fs.hpp"
#include "ox_md5.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"

namespace {

/// Feeds `length` bytes (-1: all) from where the file stands; false with errno.
bool feed(mbedtls_md_context_t* context, int fd, long length) {
    unsigned char block[16384];
    while (length != 0) {
        size_t wanted = length > 0 && length < static_cast<long>(sizeof(block)) ? static_cast<size_t>(length)
                                                                                : sizeof(block);
        ssize_t count = read(fd, block, wanted);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        if (count == 0) break;
        if (mbedtls_md_update(context, block, static_cast<size_t>(count)) != 0) return false;
        if (length > 0) length -= count;
    }
    return true;
}

}  // namespace

int ox_md5_calculate_from_file_region(uint8_t digest[OX_MD5_SIZE], const char* path, int /*flags*/,
                                      long offset, long length) {
    UnheldFd fd(ox_fs_open_regular(path, nullptr));
    if (fd.get() < 0 || lseek(fd.get(), offset, SEEK_SET) < 0) return -1;
    mbedtls_md_context_t context;
    mbedtls_md_init(&context);
    bool fine = mbedtls_md_setup(&context, mbedtls_md_info_from_type(MBEDTLS_MD_MD5), 0) == 0 &&
                mbedtls_md_starts(&context) == 0 && feed(&context, fd.get(), length) &&
                mbedtls_md_finish(&context, digest) == 0;
    int error = errno;
    if (!context.md_ctx) ox_memory_failed(__func__);
    mbedtls_md_free(&context);
    errno = error;
    return fine ? 0 : -1;
}

int ox_md5_to_str(char text[OX_MD5_TEXT_SIZE], const uint8_t digest[OX_MD5_SIZE]) {
    static const char digits[] = "0123456789abcdef";
    for (int i = 0; i < OX_MD5_SIZE; ++i) {
        text[2 * i] = digits[digest[i] >> 4];
        text[2 * i + 1] = digits[digest[i] & 15];
    }
    text[OX_MD5_TEXT_SIZE - 1] = '\0';
    return 0;
}
