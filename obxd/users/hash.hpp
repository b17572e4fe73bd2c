// Hashes of passwords, in the formats of the system's own (crypt(5)), and of tokens.
#pragma once

#include <string>
#include <string_view>

namespace obxd {

/// Stands in front of a hash that no password opens, as in the system's own file.
constexpr char HASH_LOCKED = '!';

/// A hash of `password` with a fresh salt, by the method that all systems know (SHA-512). "" when it is
/// longer than 512 bytes or no random bytes can be had.
std::string password_hash(std::string_view password);

/// True when `hash`, be it locked or not, is one that this system can check passwords against.
bool password_hash_ok(const std::string& hash);

/// True when `hash` was made from `password`. A locked hash takes as long as any other. Takes milliseconds on
/// purpose: call it on a job's thread.
bool password_matches(const std::string& hash, const std::string& password);

/// The SHA-256 of a token, lower-case hexadecimal.
std::string token_hash(std::string_view token);

}  // namespace obxd
