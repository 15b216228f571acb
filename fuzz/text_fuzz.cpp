// Trimming and escaping: nothing is read or written beside the buffers, and nothing is changed but
// what is meant to be.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "require.h"
#include "tonvale/media.h"

namespace {

constexpr std::string_view kBlanks = " \n\r\t";
constexpr std::size_t kLongestEscape = 6;

std::string Unescaped(std::string_view text) {
    constexpr std::pair<std::string_view, char> kEntities[] = {
        {"&amp;", '&'}, {"&quot;", '"'}, {"&lt;", '<'}, {"&gt;", '>'}};
    std::string plain;
    while (!text.empty()) {
        std::size_t taken = 1;
        char c = text.front();
        for (const auto &[entity, character] : kEntities) {
            if (text.starts_with(entity)) {
                taken = entity.size();
                c = character;
            }
        }
        plain += c;
        text.remove_prefix(taken);
    }
    return plain;
}

// Escapes into so much room and no more.
void CheckEscaped(const std::string &input, std::size_t room) {
    std::vector<char> escaped(room, '\x01');
    VARNHtmlSpecialChar(input.c_str(), escaped.data(), room);
    if (input.empty() || room / kLongestEscape < input.size()) {
        Require(std::all_of(escaped.begin(), escaped.end(), [](char c) { return c == '\x01'; }),
                "a buffer that is too small is left alone");
        return;
    }
    const std::size_t length = strnlen(escaped.data(), room);
    Require(length < room, "a text ends in its buffer");
    std::string text(escaped.data(), length);
    Require(text.find_first_of("<>\"") == text.npos, "no markup is left");
    const bool isCut = input.find_first_not_of('"') == input.npos && room == text.size() + 1 &&
                       room == input.size() * kLongestEscape;
    Require(Unescaped(isCut ? text + ";" : text) == input, "an escaped text reads back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    const std::string input(reinterpret_cast<const char *>(data),
                            strnlen(reinterpret_cast<const char *>(data), size));
    std::string trimmed = input;
    strstrip(trimmed.data());
    trimmed.resize(std::strlen(trimmed.c_str()));
    Require(trimmed.empty() || (kBlanks.find(trimmed.front()) == kBlanks.npos &&
                                kBlanks.find(trimmed.back()) == kBlanks.npos),
            "both ends are trimmed");
    Require(input.find(trimmed) != input.npos, "and nothing else");

    const std::size_t enough = input.size() * kLongestEscape;
    CheckEscaped(input, enough + 1);
    CheckEscaped(input, enough);
    CheckEscaped(input, enough > 0 ? enough - 1 : 0);
    CheckEscaped(input, size > 0 ? data[0] : 0);
    return 0;
}
