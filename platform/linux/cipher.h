// AES-256 in counter mode and HMAC-SHA-256, through libcrypto.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace varn {

inline constexpr std::size_t kKeyBytes = 32;
inline constexpr std::size_t kBlockBytes = 16;

using CipherKey = std::array<unsigned char, kKeyBytes>;

// Encrypts or decrypts, which is the same, under a counter that starts with `salt` (kBlockBytes at
// most) and zeros after it. Empty, with the error state set, on failure.
std::optional<std::string> ApplyKeyStream(const CipherKey &key, std::string_view salt,
                                          std::string_view text);

// HMAC-SHA-256, 32 bytes. Empty, with the error state set, on failure.
std::optional<std::string> Authenticated(const CipherKey &key, std::string_view text);

// Bytes that nobody can foretell. False, with the error state set, when there are none.
bool FillRandom(void *out, std::size_t size);

}  // namespace varn
