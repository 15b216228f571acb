#include "service/base/json_string.h"

#include <algorithm>

#include "service/base/text.h"

namespace tonvale_service {

namespace {

void AppendCode(unsigned code, std::string &json) {
    constexpr char kDigits[] = "0123456789abcdef";
    json += "\\u";
    for (const unsigned shift : {12U, 8U, 4U, 0U}) {
        json += kDigits[code >> shift & 0xFU];
    }
}

// A character of several bytes, by its codes of UTF-16.
void AppendCodes(std::string_view character, std::string &json) {
    unsigned code = static_cast<unsigned char>(character[0]) & (0xFFU >> (character.size() + 1));
    for (const char c : character.substr(1)) {
        code = code << 6U | (static_cast<unsigned char>(c) & 0x3FU);
    }
    if (code >= 0x10000) {
        AppendCode(0xD800 + ((code - 0x10000) >> 10U), json);
        code = 0xDC00 + (code & 0x3FFU);
    }
    AppendCode(code, json);
}

void AppendEscaped(char c, std::string &json) {
    constexpr std::string_view kBytes = "\"\\\b\f\n\r\t";
    constexpr char kNames[] = "\"\\bfnrt";
    if (const std::size_t named = kBytes.find(c); named != kBytes.npos) {
        json += '\\';
        json += kNames[named];
    } else {
        AppendCode(static_cast<unsigned char>(c), json);
    }
}

bool StandsForItself(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte < 0x80 && c != '"' && c != '\\';
}

}  // namespace

void AppendJson(std::string_view text, Letters letters, std::string &json) {
    json += '"';
    for (;;) {
        const auto *const plain = std::find_if_not(text.begin(), text.end(), StandsForItself);
        json.append(text.begin(), plain);
        text.remove_prefix(static_cast<std::size_t>(plain - text.begin()));
        if (text.empty()) {
            break;
        }
        const std::size_t length = CharacterLength(text);
        const std::string_view character = length > 0 ? text.substr(0, length) : "\xEF\xBF\xBD";
        if (length == 1) {
            AppendEscaped(text[0], json);
        } else if (letters == Letters::kAscii) {
            AppendCodes(character, json);
        } else {
            json += character;
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    json += '"';
}

}  // namespace tonvale_service
