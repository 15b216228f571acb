#include "linux/utf8.h"

#include <algorithm>

namespace varn {

namespace {

constexpr std::size_t kLongestCharacter = 4;

bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// What may follow a leading byte: how many bytes, and the range of the first of them, which is
// where overlong forms, surrogates and values past the last code point show.
struct Lead {
    std::size_t following;
    unsigned char low;
    unsigned char high;
};

bool Classify(unsigned char byte, Lead &lead) {
    if (byte < 0x80) {
        lead = {0, 0, 0};
    } else if (byte >= 0xC2 && byte <= 0xDF) {
        lead = {1, 0x80, 0xBF};
    } else if (byte >= 0xE0 && byte <= 0xEF) {
        lead = {2, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
    } else if (byte >= 0xF0 && byte <= 0xF4) {
        lead = {3, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
    } else {
        return false;
    }
    return true;
}

}  // namespace

bool IsUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        Lead lead = {};
        if (!Classify(static_cast<unsigned char>(text[at]), lead) ||
            text.size() - at <= lead.following) {
            return false;
        }
        const std::string_view rest = text.substr(at + 1, lead.following);
        const auto second = static_cast<unsigned char>(rest.empty() ? 0 : rest.front());
        if (second < lead.low || second > lead.high ||
            !std::all_of(rest.begin(), rest.end(), IsContinuation)) {
            return false;
        }
        at += 1 + lead.following;
    }
    return true;
}

std::size_t BoundedLength(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) {
        return text.size();
    }
    std::size_t end = limit;
    while (end > 0 && limit - end < kLongestCharacter && IsContinuation(text[end])) {
        --end;
    }
    return end;
}

}  // namespace varn
