// Encodings, and the encryption of small texts that have to be read back.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "varn/export.h"

extern "C" {

// Decodes base64 (RFC 4648, section 4) into `out`, which has `outSize` bytes; the "=" at the end
// may be missing. 0 with the number of bytes in *outLen, of which no NUL is one; -1 with *outLen 0
// for a null argument, a character that is none of the alphabet, a length that no bytes have, or a
// buffer too small.
VARN_EXPORT int VLIBCBase64Decode(const char *in, unsigned char *out, size_t outSize,
                                  size_t *outLen);

// Encodes a text in base64, with "=" at its end and without line breaks. 0, or -1 with `out` as ""
// (null argument, a buffer too small: 4 bytes for each 3 begun, and the NUL).
VARN_EXPORT int VLIBCBase64SzEncodeOneLine(const char *in, char *out, size_t outSize);

// Encrypts a text with the platform's key into text of at most outSize - 1 characters: AES-256 in
// counter mode under as much random salt as there is room for (16 bytes at most, 3 at least), in
// base64 without "=". max(2n, 16) bytes hold the result for a text of n bytes. It hides the text
// from a file's reader; it does not show whether the ciphertext was changed.
// The key is "/var/lib/Tonvale/crypt.key", readable by the package's account only and made, with
// its folder, when it is first asked for. Without it the texts are lost.
// True, or false with `out` as "" and the error state set (null argument, no room, no key).
VARN_EXPORT bool VLIBCCryptSzEncrypt(const char *plain, char *out, int outSize);

// Reads such a text back. False with `out` as "" and the error state set: null argument, a text
// that is no such ciphertext or holds a NUL, one that does not fit, no key. A changed ciphertext or
// another key may also give another text.
VARN_EXPORT bool VLIBCCryptSzDecrypt(const char *cipher, char *out, int outSize);

}  // extern "C"

namespace varn {

// Lower-case letters and digits that are not mistaken for each other.
inline constexpr std::string_view kRandomLetters = "abcdefghijkmnpqrstuvwxyz23456789";
inline constexpr std::size_t kRandomTextBits = 5;  // of each letter

// A text of random letters. "" with the error state set when there is no randomness.
VARN_EXPORT std::string RandomText(std::size_t length);

// HMAC-SHA-256 (RFC 2104) of a text under the platform's key, in hexadecimal. `purpose` keeps the
// hashes of one use apart from those of another. Empty, with the error state set, without a key.
VARN_EXPORT std::optional<std::string> KeyedHash(std::string_view purpose, std::string_view text);

}  // namespace varn
