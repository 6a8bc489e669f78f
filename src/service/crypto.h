#pragma once
// Secrets of the service: random keys and tokens, their hashes, and the
// identity hash of a known user, all through OpenSSL.

#include <string>
#include <string_view>

namespace tavrel::service {

// `bytes` random bytes from the system's generator, as lower-case hex.
std::string randomHex(std::size_t bytes);
// SHA-256 of `text`, as lower-case hex.
std::string sha256Hex(std::string_view text);
// HMAC-SHA256 of `message` under `key`, as lower-case hex.
std::string hmacSha256Hex(std::string_view key, std::string_view message);
// Equality that takes the same time whatever the first differing byte.
bool constantTimeEqual(std::string_view a, std::string_view b);

}  // namespace tavrel::service
