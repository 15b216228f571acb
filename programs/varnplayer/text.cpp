#include "text.h"

#include <json/writer.h>

#include <algorithm>
#include <cstdint>

namespace varnplayer {

namespace {

// The length of the character that a text begins with; 0 when it begins with none.
std::size_t CharacterLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t length = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (length == 0 || first > 0xF4 || length > text.size()) {
        return 0;
    }
    uint32_t code = first & (0xFF >> (length + 1));
    for (const char c : text.substr(1, length - 1)) {
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
            return 0;
        }
        code = code << 6 | (static_cast<unsigned char>(c) & 0x3F);
    }
    constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xD800 && code < 0xE000;
    return code < kLeast[length] || code > 0x10FFFF || isSurrogate ? 0 : length;
}

}  // namespace

std::string Utf8(std::string_view text) {
    std::string clean;
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        clean += length > 0 ? text.substr(0, length) : "\xEF\xBF\xBD";
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return clean;
}

std::string JsonText(const Json::Value &value) {
    Json::StreamWriterBuilder oneLine;
    oneLine["indentation"] = "";
    oneLine["emitUTF8"] = true;
    return Json::writeString(oneLine, value);
}

}  // namespace varnplayer
