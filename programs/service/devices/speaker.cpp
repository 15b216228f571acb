#include "service/devices/speaker.h"

#include <charconv>

#include "service/base/failure.h"
#include "tonvale/players.h"

namespace tonvale_service {

namespace {

namespace airplay = Tonvale::airplay;

constexpr std::size_t kLongestHost = 253;
constexpr std::string_view kLetters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_";
constexpr std::string_view kIpv6Letters = "0123456789abcdefABCDEF:.";

// The host as an address line has it: an IPv6 address in brackets (RFC 3986, 3.2.2).
std::string HostInUrl(const std::string &host) {
    const bool isIpv6 = host.find(':') != host.npos;
    if (host.empty() || host.size() > kLongestHost ||
        host.find_first_not_of(isIpv6 ? kIpv6Letters : kLetters) != host.npos) {
        throw Failure(Reason::kNotAHost, host);
    }
    return isIpv6 ? "[" + host + "]" : host;
}

void CheckPort(const std::string &port) {
    int number = 0;
    const char *const end = port.data() + port.size();
    const auto [rest, error] = std::from_chars(port.data(), end, number);
    if (error != std::errc() || rest != end || number < 1 || number > 65535) {
        throw Failure(Reason::kNotAPort, port);
    }
}

}  // namespace

SpeakerStatus AskSpeaker(const std::string &host, const std::string &port,
                         const std::optional<std::string> &password) {
    const std::string inUrl = HostInUrl(host);
    CheckPort(port);
    if (!password) {
        const airplay::PasswordNeed need = airplay::IsNeedPassword(inUrl.c_str(), port.c_str());
        return !need.known   ? SpeakerStatus::kUnknown
               : need.needed ? SpeakerStatus::kLocked
                             : SpeakerStatus::kOpen;
    }
    switch (airplay::TestPassword(inUrl.c_str(), port.c_str(), password->c_str())) {
        case airplay::AIRPLAY_REACHABLE:
            return SpeakerStatus::kRight;
        case airplay::AIRPLAY_PASSWORD:
            return SpeakerStatus::kWrong;
        case airplay::AIRPLAY_BUSY:
            return SpeakerStatus::kBusy;
        default:
            return SpeakerStatus::kUnknown;
    }
}

}  // namespace tonvale_service
