// Digests in hexadecimal.
#pragma once

#include <mbedtls/md.h>
#include <stddef.h>

#include <string>
#include <string_view>

namespace obxd {

/// A digest in the making. One whose algorithm there is not, or for which memory ran out, ends as "".
class Digest {
public:
    /// `algorithm` as in "SHA256", "SHA-1", "MD5".
    explicit Digest(std::string algorithm);
    ~Digest();
    Digest(const Digest&) = delete;
    Digest& operator=(const Digest&) = delete;
    void add(const void* data, size_t size);
    /// The digest of all that was added, lower-case; nothing can be added any more.
    std::string end();

private:
    mbedtls_md_context_t context_;
    size_t size_ = 0;  ///< of the digest; 0 when it cannot be made
};

/// The digest of a text, and of a file: "" when that cannot be read.
std::string digest_of(const std::string& algorithm, std::string_view text);
std::string digest_of_file(const std::string& algorithm, const std::string& file);

/// Bytes as lower-case hexadecimal digits.
std::string hex_text(const unsigned char* data, size_t size);
/// As many random bytes, so written; "" when none can be had.
std::string hex_random(size_t size);

}  // namespace obxd
