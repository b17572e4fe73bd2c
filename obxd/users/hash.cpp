#include "users/hash.hpp"

#include <crypt.h>

#include <memory>

#include "digest.hpp"

namespace obxd {

namespace {

constexpr const char* METHOD = "$6$";
constexpr size_t SALT = 8;  // bytes, written as twice as many digits

// What crypt makes of the password with the method, cost and salt that `setting` begins with; "" when that is
// none that it knows.
std::string encrypt(const std::string& password, const std::string& setting) {
    auto room = std::make_unique<crypt_data>();
    const char* hash = crypt_r(password.c_str(), setting.c_str(), room.get());
    return hash && *hash == METHOD[0] ? hash : "";
}

// The same time for equal and unequal texts of one length.
bool same_text(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned difference = 0;
    for (size_t i = 0; i < a.size(); i++) difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

}  // namespace

std::string password_hash(std::string_view password) {
    std::string salt = hex_random(SALT);
    return salt.empty() ? "" : encrypt(std::string(password), METHOD + salt);
}

bool password_hash_ok(const std::string& hash) {
    size_t locked = hash.starts_with(HASH_LOCKED);
    if (hash.compare(locked, 1, METHOD, 1) != 0) return false;
#ifdef CRYPT_CHECKSALT_AVAILABLE
    return crypt_checksalt(hash.c_str() + locked) != CRYPT_SALT_INVALID;
#else
    return true;
#endif
}

bool password_matches(const std::string& hash, const std::string& password) {
    bool locked = hash.starts_with(HASH_LOCKED);
    std::string made = encrypt(password, hash.substr(locked));
    return !made.empty() && same_text(made, hash) && !locked;
}

std::string token_hash(std::string_view token) {
    return digest_of("SHA256", token);
}

}  // namespace obxd
