#include "airplay_password/challenge.h"

#include <strings.h>

#include <optional>

namespace Tonvale::airplay {

namespace {

constexpr std::string_view kJackHeaders[] = {"Audio-Jack-Status:", "Apple-Jack-Status:"};
constexpr std::string_view kChallengeHeader = "WWW-Authenticate:";
constexpr std::size_t kLongestValue = 1023;
constexpr std::size_t kKeptLength = 255;

bool BeginsWithoutCase(std::string_view line, std::string_view name) {
    return line.size() >= name.size() && strncasecmp(line.data(), name.data(), name.size()) == 0;
}

// The text between the quotes after the first `key="` of the line.
std::optional<std::string_view> QuotedValue(std::string_view line, std::string_view key) {
    const std::string opening = std::string(key) + "=\"";
    const std::size_t at = line.find(opening);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    line.remove_prefix(at + opening.size());
    const std::size_t end = line.find('"');
    if (end == std::string_view::npos || end > kLongestValue) {
        return std::nullopt;
    }
    return line.substr(0, end);
}

}  // namespace

void ReadHeader(std::string_view line, Challenge &challenge) {
    for (const std::string_view name : kJackHeaders) {
        if (BeginsWithoutCase(line, name)) {
            challenge.hasJack = true;
            return;
        }
    }
    if (!line.starts_with(kChallengeHeader)) {
        return;
    }
    const auto realm = QuotedValue(line, "realm");
    const auto nonce = QuotedValue(line, "nonce");
    if (realm && nonce) {
        challenge.realm = realm->substr(0, kKeptLength);
        challenge.nonce = nonce->substr(0, kKeptLength);
    }
}

}  // namespace Tonvale::airplay
