#include <mbedtls/md.h>
#include <mbedtls/pkcs5.h>
#include <mbedtls/sha256.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/random.h>

#include "users/users.hpp"

namespace obxd {

namespace {

constexpr unsigned ITERATIONS = 20000;
constexpr unsigned MAX_ITERATIONS = 1000000;
constexpr size_t DIGEST = 32;
constexpr size_t SALT = 16;
constexpr std::string_view SCHEME = "pbkdf2-sha256$";

std::string to_hex(const unsigned char* data, size_t size) {
    std::string text;
    for (size_t i = 0; i < size; i++) {
        char pair[3];
        snprintf(pair, sizeof pair, "%02x", data[i]);
        text += pair;
    }
    return text;
}

std::string derive(std::string_view password, std::string_view salt, unsigned iterations) {
    unsigned char digest[DIGEST] = {};
    mbedtls_md_context_t context;
    mbedtls_md_init(&context);
    int code = mbedtls_md_setup(&context, mbedtls_md_info_from_type(MBEDTLS_MD_SHA256), 1);
    if (code == 0) {
        code = mbedtls_pkcs5_pbkdf2_hmac(&context, reinterpret_cast<const unsigned char*>(password.data()),
                                         password.size(), reinterpret_cast<const unsigned char*>(salt.data()),
                                         salt.size(), iterations, DIGEST, digest);
    }
    mbedtls_md_free(&context);
    return code == 0 ? to_hex(digest, DIGEST) : "";
}

// The same time for equal and unequal texts of one length.
bool same_text(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned difference = 0;
    for (size_t i = 0; i < a.size(); i++) difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

struct HashParts {
    unsigned iterations;
    std::string_view salt, digest;
};

bool split_hash(std::string_view hash, HashParts& parts) {
    if (!hash.starts_with(SCHEME)) return false;
    hash.remove_prefix(SCHEME.size());
    size_t first = hash.find('$');
    size_t second = first == std::string_view::npos ? first : hash.find('$', first + 1);
    if (second == std::string_view::npos) return false;
    parts.iterations =
        static_cast<unsigned>(strtoul(std::string(hash.substr(0, first)).c_str(), nullptr, 10));
    parts.salt = hash.substr(first + 1, second - first - 1);
    parts.digest = hash.substr(second + 1);
    return parts.iterations > 0 && parts.iterations <= MAX_ITERATIONS && parts.digest.size() == 2 * DIGEST;
}

}  // namespace

std::string password_hash(std::string_view password) {
    unsigned char random[SALT];
    if (getrandom(random, sizeof random, 0) != static_cast<ssize_t>(sizeof random)) return "";
    std::string salt = to_hex(random, sizeof random);
    return std::string(SCHEME) + std::to_string(ITERATIONS) + "$" + salt + "$" +
           derive(password, salt, ITERATIONS);
}

bool password_matches(const std::string& hash, std::string_view password) {
    HashParts parts{};
    if (!split_hash(hash, parts)) {
        derive(password, "no such user", ITERATIONS);
        return false;
    }
    return same_text(derive(password, parts.salt, parts.iterations), parts.digest);
}

std::string token_hash(std::string_view token) {
    unsigned char digest[DIGEST];
    mbedtls_sha256_ret(reinterpret_cast<const unsigned char*>(token.data()), token.size(), digest, 0);
    return to_hex(digest, DIGEST);
}

}  // namespace obxd
