// Any bytes as a speaker's header lines: a stored value is bounded and quoted in its line.
#include <cstdint>
#include <string_view>

#include "airplay_password/challenge.h"
#include "require.h"

namespace {

using Tonvale::airplay::Challenge;

constexpr std::size_t kKept = 255;

void CheckValue(std::string_view line, const std::string &value) {
    Require(value.size() <= kKept, "a value is cut");
    Require(value.find('"') == std::string::npos, "a value ends at its quote");
    Require(line.find("=\"" + value) != std::string_view::npos, "a value comes from its line");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view text(reinterpret_cast<const char *>(data), size);
    Challenge challenge;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(line.size() < text.size() ? line.size() + 1 : line.size());
        const Challenge before = challenge;
        Tonvale::airplay::ReadHeader(line, challenge);
        if (challenge.realm != before.realm || challenge.nonce != before.nonce) {
            Require(line.starts_with("WWW-Authenticate:"), "only challenges are taken");
            CheckValue(line, challenge.realm);
            CheckValue(line, challenge.nonce);
        }
        Require(challenge.hasJack || !before.hasJack, "a jack is not forgotten");
    }
    return 0;
}
