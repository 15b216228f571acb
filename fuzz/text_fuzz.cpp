// Trimming and escaping: nothing is read or written beside the buffers, and nothing is changed but
// what is meant to be.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "tonvale/media.h"

namespace {

constexpr std::string_view kBlanks = " \n\r\t";

void Check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    const std::string input(reinterpret_cast<const char *>(data),
                            strnlen(reinterpret_cast<const char *>(data), size));
    std::string trimmed = input;
    strstrip(trimmed.data());
    trimmed.resize(std::strlen(trimmed.c_str()));
    Check(trimmed.empty() || (kBlanks.find(trimmed.front()) == kBlanks.npos &&
                              kBlanks.find(trimmed.back()) == kBlanks.npos));
    Check(input.find(trimmed) != input.npos);

    std::string escaped(input.size() * 6 + 1, '\x01');
    VARNHtmlSpecialChar(input.c_str(), escaped.data(), escaped.size());
    if (!input.empty()) {
        escaped.resize(std::strlen(escaped.c_str()));
        Check(escaped.find_first_of("<>\"") == escaped.npos);
        Check(Unescaped(escaped) == input);
    }
    return 0;
}
