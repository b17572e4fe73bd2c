#include <errno.h>
#include <unistd.h>

#include "md5_sum.hpp"
#include "ox_fs.hpp"
#include "ox_md5.hpp"
#include "ox_raii.hpp"

namespace {

/// Feeds `length` bytes (-1: all) from where the file stands; false with errno.
bool feed(Md5Sum* sum, int fd, long length) {
    unsigned char block[16384];
    while (length != 0) {
        size_t wanted = length > 0 && length < static_cast<long>(sizeof(block)) ? static_cast<size_t>(length)
                                                                                : sizeof(block);
        ssize_t count = read(fd, block, wanted);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        if (count == 0) break;
        if (!md5_sum_add(sum, block, static_cast<size_t>(count))) return false;
        if (length > 0) length -= count;
    }
    return true;
}

}  // namespace

int ox_md5_calculate_from_file_region(uint8_t digest[OX_MD5_SIZE], const char* path, int /*flags*/,
                                      long offset, long length) {
    UnheldFd fd(ox_fs_open_regular(path, nullptr));
    if (fd.get() < 0 || lseek(fd.get(), offset, SEEK_SET) < 0) return -1;
    Md5Sum* sum = md5_sum_new();
    if (!sum) return -1;
    bool fine = feed(sum, fd.get(), length) && md5_sum_end(sum, digest);
    int error = errno;
    md5_sum_free(sum);
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
