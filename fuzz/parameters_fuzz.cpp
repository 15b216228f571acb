// Any bytes as a request's query: an accepted value is clean text, and a name comes once.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "entry/parameters.h"
#include "require.h"

namespace {

// A text in the form in which a client sends it.
std::string Encoded(std::string_view text) {
    constexpr char kHex[] = "0123456789abcdef";
    std::string encoded;
    for (const unsigned char c : text) {
        encoded += {'%', kHex[c >> 4], kHex[c & 15]};
    }
    return encoded;
}

bool HasControls(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](unsigned char c) {
        return (c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c == 0x7F;
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using tonvale_entry::Parameters;
    const std::string text(reinterpret_cast<const char *>(data), size);
    const std::string_view half = std::string_view(text).substr(0, size / 2);
    Parameters::Parse(text, "");
    Parameters::Parse(half, std::string_view(text).substr(size / 2));
    // The bytes themselves as a value: taken as they are, or refused.
    const auto one = Parameters::Parse("value=" + Encoded(text), "");
    if (one) {
        Require(one->Find("value") != nullptr && *one->Find("value") == text,
                "a value comes whole");
        Require(!HasControls(text), "a value has no control characters");
        Require(!Parameters::Parse("value=", "value=" + Encoded(text)), "a name comes once");
    }
    if (const auto values = tonvale_entry::SplitValues(text, 10)) {
        Require(values->size() <= 10, "values are bounded");
    }
    if (const auto number = tonvale_entry::ParseNumber(text, -5, 5)) {
        Require(*number >= -5 && *number <= 5, "a number is in its bounds");
    }
    return 0;
}
