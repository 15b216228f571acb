#include "service/base/text.h"

#include <array>
#include <cstdio>
#include <functional>

namespace tonvale_service {

std::size_t CharacterLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    const std::size_t length = lead < 0x80                    ? 1
                               : lead >= 0xC2 && lead <= 0xDF ? 2
                               : (lead & 0xF0) == 0xE0        ? 3
                               : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                              : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    // Overlong forms, surrogates and what lies beyond the last plane.
    const bool bad =
        length > 2 && ((lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) > 0x9F) ||
                       (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) > 0x8F));
    return bad ? 0 : length;
}

std::string ValidUtf8(std::string_view text) {
    std::string valid;
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        valid += length > 0 ? text.substr(0, length) : "\xEF\xBF\xBD";
        text.remove_prefix(length > 0 ? length : 1);
    }
    return valid;
}

std::size_t CutLength(std::string_view text, std::size_t most) {
    std::size_t length = std::min(text.size(), most);
    while (length > 0 && length < text.size() &&
           (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U) {
        --length;
    }
    return length;
}

std::string EscapedXml(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        switch (character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

bool IsLine(std::string_view text, std::size_t most) {
    return text.size() <= most && IsUtf8(text) &&
           std::none_of(text.begin(), text.end(),
                        [](unsigned char c) { return c < ' ' || c == 0x7F; });
}

std::string HashOf(std::string_view text) {
    std::array<char, 32> digits = {};
    std::snprintf(digits.data(), digits.size(), "%016zx", std::hash<std::string_view>()(text));
    return digits.data();
}

}  // namespace tonvale_service
