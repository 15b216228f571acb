#include "speaker_address.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "parameters.h"
#include "varn/packageconf.h"

namespace tonvale_entry {

namespace {

constexpr char kUsualPort[] = "5000";
constexpr long long kLeastPort = 1024;
constexpr int kMappedBits = 96;
constexpr int kAllBits = 128;

in6_addr Mapped(const in_addr &ipv4) {
    in6_addr address = {};
    address.s6_addr[10] = address.s6_addr[11] = 0xFF;
    std::memcpy(address.s6_addr + 12, &ipv4, sizeof ipv4);
    return address;
}

// An IPv4 address becomes a mapped one. An address that is written as a mapped one is refused:
// nobody writes these.
std::optional<in6_addr> Parse(const std::string &text) {
    in_addr ipv4 = {};
    if (inet_pton(AF_INET, text.c_str(), &ipv4) == 1) {
        return Mapped(ipv4);
    }
    in6_addr ipv6 = {};
    if (inet_pton(AF_INET6, text.c_str(), &ipv6) != 1 || IN6_IS_ADDR_V4MAPPED(&ipv6)) {
        return std::nullopt;
    }
    return ipv6;
}

bool HasPrefix(const in6_addr &address, const in6_addr &network, int bits) {
    for (int bit = 0; bit < bits; bit += 8) {
        const int left = std::min(bits - bit, 8);
        const int mask = (0xFF00 >> left) & 0xFF;
        if (((address.s6_addr[bit / 8] ^ network.s6_addr[bit / 8]) & mask) != 0) {
            return false;
        }
    }
    return true;
}

struct Range {
    const char *address;
    int bits;
};
constexpr Range kLocalRanges[] = {
    {"10.0.0.0", kMappedBits + 8},
    {"172.16.0.0", kMappedBits + 12},
    {"192.168.0.0", kMappedBits + 16},
    {"169.254.0.0", kMappedBits + 16},
    {"fc00::", 7},
    {"fe80::", 10},
};

bool IsLocal(const in6_addr &address) {
    return std::any_of(std::begin(kLocalRanges), std::end(kLocalRanges), [&](const Range &range) {
        return HasPrefix(address, *Parse(range.address), range.bits);
    });
}

// Of the addresses of an IPv4 network the first one and the last one mean no machine.
bool IsWholeNetwork(const in6_addr &address, const AttachedNetwork &network) {
    if (!IN6_IS_ADDR_V4MAPPED(&address) || network.bits >= kAllBits - 1) {
        return false;
    }
    uint32_t number = 0;
    std::memcpy(&number, address.s6_addr + 12, sizeof number);
    const uint32_t host = 0xFFFFFFFFU >> (network.bits - kMappedBits);
    const uint32_t part = ntohl(number) & host;
    return part == 0 || part == host;
}

int BitsOf(const sockaddr &mask, int family) {
    std::array<uint8_t, 16> bytes{};
    sockaddr_storage copy{};
    if (family == AF_INET) {
        std::memcpy(&copy, &mask, sizeof(sockaddr_in));
        std::memcpy(bytes.data(), &reinterpret_cast<sockaddr_in &>(copy).sin_addr, 4);
    } else {
        std::memcpy(&copy, &mask, sizeof(sockaddr_in6));
        std::memcpy(bytes.data(), &reinterpret_cast<sockaddr_in6 &>(copy).sin6_addr, 16);
    }
    int bits = family == AF_INET ? kMappedBits : 0;
    for (const uint8_t byte : bytes) {
        bits += __builtin_popcount(byte);
    }
    return bits;
}

}  // namespace

std::optional<SpeakerAddress> ParseSpeakerAddress(const std::string &text) {
    SpeakerAddress speaker{text, kUsualPort};
    const std::size_t colon = text.rfind(':');
    if (text.starts_with('[')) {
        const std::size_t end = text.find("]:");
        if (end == text.npos) {
            return std::nullopt;
        }
        speaker = {text.substr(1, end - 1), text.substr(end + 2)};
    } else if (colon != text.npos && text.find(':') == colon) {
        speaker = {text.substr(0, colon), text.substr(colon + 1)};
    }
    if (!Parse(speaker.host) || !ParseNumber(speaker.port, kLeastPort, 65535)) {
        return std::nullopt;
    }
    return speaker;
}

std::vector<AttachedNetwork> AttachedNetworks() {
    ifaddrs *found = nullptr;
    if (getifaddrs(&found) != 0) {
        return {};
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(found, freeifaddrs);
    std::vector<AttachedNetwork> networks;
    for (const ifaddrs *one = found; one != nullptr; one = one->ifa_next) {
        const int family = one->ifa_addr != nullptr ? one->ifa_addr->sa_family : AF_UNSPEC;
        if ((family != AF_INET && family != AF_INET6) || one->ifa_netmask == nullptr ||
            (one->ifa_flags & IFF_UP) == 0 || (one->ifa_flags & IFF_LOOPBACK) != 0) {
            continue;
        }
        AttachedNetwork network{};
        if (family == AF_INET) {
            sockaddr_in address{};
            std::memcpy(&address, one->ifa_addr, sizeof address);
            network.own = Mapped(address.sin_addr);
        } else {
            sockaddr_in6 address{};
            std::memcpy(&address, one->ifa_addr, sizeof address);
            network.own = address.sin6_addr;
        }
        network.bits = BitsOf(*one->ifa_netmask, family);
        networks.push_back(network);
    }
    return networks;
}

bool IsNeighbour(const std::string &address, const std::vector<AttachedNetwork> &networks) {
    const std::optional<in6_addr> parsed = Parse(address);
    if (!parsed || !IsLocal(*parsed)) {
        return false;
    }
    bool isNear = false;
    for (const AttachedNetwork &network : networks) {
        if (!HasPrefix(*parsed, network.own, network.bits)) {
            continue;
        }
        if (HasPrefix(*parsed, network.own, kAllBits) || IsWholeNetwork(*parsed, network)) {
            return false;
        }
        isNear = true;
    }
    return isNear;
}

bool IsPermittedSpeaker(const SpeakerAddress &speaker) {
    return VARNAudioConfCheck("speaker_any_address", "yes", 0) ||
           IsNeighbour(speaker.host, AttachedNetworks());
}

}  // namespace tonvale_entry
