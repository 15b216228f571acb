#include "linux/base64.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "linux/error.h"
#include "linux/memory.h"
#include "varn/crypt.h"

namespace varn {

namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int kNoDigit = -1;

constexpr std::array<int, 256> MakeDigits() {
    std::array<int, 256> digits{};
    digits.fill(kNoDigit);
    for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
        digits[static_cast<unsigned char>(kAlphabet[i])] = static_cast<int>(i);
    }
    return digits;
}

constexpr std::array<int, 256> kDigits = MakeDigits();

// Without the one or two "=" that complete the last group of four.
std::string_view WithoutPadding(std::string_view text) {
    for (int i = 0; i < 2 && text.size() % 4 != 1 && text.ends_with('='); ++i) {
        text.remove_suffix(1);
    }
    return text;
}

}  // namespace

std::string Base64Encode(std::string_view bytes, bool padded) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    uint32_t bits = 0;
    int held = 0;
    for (const char byte : bytes) {
        bits = bits << 8 | static_cast<unsigned char>(byte);
        for (held += 8; held >= 6; held -= 6) {
            text += kAlphabet[bits >> (held - 6) & 63];
        }
    }
    if (held > 0) {
        text += kAlphabet[bits << (6 - held) & 63];
    }
    if (padded) {
        text.append((4 - text.size() % 4) % 4, '=');
    }
    return text;
}

std::optional<std::string> Base64Decode(std::string_view text) {
    const std::string_view digits = text.size() % 4 == 0 ? WithoutPadding(text) : text;
    if (digits.size() % 4 == 1) {
        return std::nullopt;
    }
    std::string bytes;
    bytes.reserve(digits.size() / 4 * 3 + 2);
    uint32_t bits = 0;
    int held = 0;
    for (const char c : digits) {
        const int digit = kDigits[static_cast<unsigned char>(c)];
        if (digit == kNoDigit) {
            return std::nullopt;
        }
        bits = bits << 6 | static_cast<uint32_t>(digit);
        held += 6;
        if (held >= 8) {
            held -= 8;
            bytes += static_cast<char>(bits >> held & 255);
        }
    }
    return bytes;
}

}  // namespace varn

int VLIBCBase64Decode(const char *in, unsigned char *out, size_t outSize, size_t *outLen) {
    if (outLen != nullptr) {
        *outLen = 0;
    }
    if (in == nullptr || out == nullptr || outLen == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        const auto bytes = varn::Base64Decode(in);
        if (!bytes || bytes->size() > outSize) {
            varn::SetError(bytes ? VLIB_ERR_TOO_LONG : VLIB_ERR_BAD_PARAMETER);
            return -1;
        }
        std::memcpy(out, bytes->data(), bytes->size());
        *outLen = bytes->size();
        return 0;
    });
}

int VLIBCBase64SzEncodeOneLine(const char *in, char *out, size_t outSize) {
    if (out != nullptr && outSize > 0) {
        out[0] = '\0';
    }
    if (in == nullptr || out == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        if (!varn::CopyToBuffer(varn::Base64Encode(in, true), out, outSize)) {
            varn::SetError(VLIB_ERR_TOO_LONG);
            return -1;
        }
        return 0;
    });
}
