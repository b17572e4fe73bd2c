#include "digest.hpp"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <utility>

#include "owners.hpp"

namespace obxd {

Digest::Digest(std::string algorithm) {
    std::erase(algorithm, '-');
    mbedtls_md_init(&context_);
    const mbedtls_md_info_t* info = mbedtls_md_info_from_string(algorithm.c_str());
    if (info && mbedtls_md_setup(&context_, info, 0) == 0 && mbedtls_md_starts(&context_) == 0)
        size_ = mbedtls_md_get_size(info);
}

Digest::~Digest() {
    mbedtls_md_free(&context_);
}

void Digest::add(const void* data, size_t size) {
    if (size_ > 0 && mbedtls_md_update(&context_, static_cast<const unsigned char*>(data), size) != 0)
        size_ = 0;
}

std::string Digest::end() {
    unsigned char bytes[MBEDTLS_MD_MAX_SIZE];
    if (size_ > 0 && mbedtls_md_finish(&context_, bytes) != 0) size_ = 0;
    return hex_text(bytes, std::exchange(size_, 0));
}

std::string digest_of(const std::string& algorithm, std::string_view text) {
    Digest digest(algorithm);
    digest.add(text.data(), text.size());
    return digest.end();
}

std::string digest_of_file(const std::string& algorithm, const std::string& file) {
    Digest digest(algorithm);
    Fd fd(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    char block[16384];
    ssize_t got = fd.get() < 0 ? -1 : 0;
    while (fd.get() >= 0 && (got = read(fd.get(), block, sizeof block)) > 0)
        digest.add(block, static_cast<size_t>(got));
    return got == 0 ? digest.end() : "";
}

std::string hex_text(const unsigned char* data, size_t size) {
    std::string text;
    for (size_t i = 0; i < size; i++) {
        text += "0123456789abcdef"[data[i] >> 4];
        text += "0123456789abcdef"[data[i] & 15];
    }
    return text;
}

std::string hex_random(size_t size) {
    std::string bytes(size, '\0');
    if (getrandom(bytes.data(), size, 0) != static_cast<ssize_t>(size)) return "";
    return hex_text(reinterpret_cast<const unsigned char*>(bytes.data()), size);
}

}  // namespace obxd
