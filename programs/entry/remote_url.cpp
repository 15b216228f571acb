#include "remote_url.h"

#include <netdb.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "varn/packageconf.h"
#include "varn/webapi.h"

namespace tonvale_entry {

namespace {

constexpr std::size_t kLongest = 2000;

struct Network4 {
    uint32_t address;
    int bits;
};

// IANA's special-purpose registry (RFC 6890 and its successors), multicast and what is reserved.
constexpr Network4 kSpecial4[] = {
    {0x00000000, 8},  {0x0A000000, 8},  {0x64400000, 10}, {0x7F000000, 8},  {0xA9FE0000, 16},
    {0xAC100000, 12}, {0xC0000000, 24}, {0xC0000200, 24}, {0xC0586300, 24}, {0xC0A80000, 16},
    {0xC6120000, 15}, {0xC6336400, 24}, {0xCB007100, 24}, {0xE0000000, 3},
};

bool IsPublic4(uint32_t address) {
    return std::none_of(std::begin(kSpecial4), std::end(kSpecial4), [&](const Network4 &network) {
        return (address ^ network.address) >> (32 - network.bits) == 0;
    });
}

uint32_t Ipv4At(const uint8_t *bytes) {
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

// True for global unicast addresses (2000::/3) that carry no IPv4 address and are no documentation,
// and for mapped IPv4 addresses (::ffff:0:0/96) that are public themselves.
bool IsPublic6(const uint8_t *bytes) {
    constexpr std::array<uint8_t, 12> kMapped = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    if (std::equal(kMapped.begin(), kMapped.end(), bytes)) {
        return IsPublic4(Ipv4At(bytes + 12));
    }
    const bool isSpecial = (bytes[0] == 0x20 && bytes[1] == 0x02) ||  // 6to4
                           (bytes[0] == 0x20 && bytes[1] == 0x01 && bytes[2] < 0x02) ||
                           std::memcmp(bytes, "\x20\x01\x0D\xB8", 4) == 0 ||
                           (bytes[0] == 0x3F && bytes[1] == 0xFF && bytes[2] < 0x10);
    return (bytes[0] & 0xE0) == 0x20 && !isSpecial;
}

// The host of "host", "host:port" and "[address]:port".
std::string HostOnly(const std::string &authority) {
    if (authority.starts_with('[')) {
        const std::size_t end = authority.find(']');
        return end != authority.npos ? authority.substr(1, end - 1) : "";
    }
    return authority.substr(0, authority.find(':'));
}

bool HasOnlyPublicAddresses(const std::string &host) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (host.empty() || getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) {
        return false;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
    for (const addrinfo *address = found; address != nullptr; address = address->ai_next) {
        if (!IsPublicAddress(*address->ai_addr)) {
            return false;
        }
    }
    return true;
}

// True for a character that can make two readers of a URL see different hosts.
bool HasDoubtfulCharacter(std::string_view url) {
    return std::any_of(url.begin(), url.end(), [](unsigned char c) {
        return c <= 0x20 || c >= 0x7F || std::strchr("\\@\"<>^`{|}", c) != nullptr;
    });
}

}  // namespace

bool IsPublicAddress(const sockaddr &address) {
    if (address.sa_family == AF_INET) {
        sockaddr_in ipv4{};
        std::memcpy(&ipv4, &address, sizeof ipv4);
        return IsPublic4(ntohl(ipv4.sin_addr.s_addr));
    }
    if (address.sa_family == AF_INET6) {
        sockaddr_in6 ipv6{};
        std::memcpy(&ipv6, &address, sizeof ipv6);
        return IsPublic6(ipv6.sin6_addr.s6_addr);
    }
    return false;
}

std::optional<std::string> HostOfUrl(const std::string &url) {
    std::string scheme;
    std::string authority;
    std::string path;
    if (url.size() > kLongest || HasDoubtfulCharacter(url) ||
        !WebUtils::ParseURL(url, scheme, authority, path) ||
        (scheme != "http" && scheme != "https")) {
        return std::nullopt;
    }
    return HostOnly(authority);
}

bool IsPermittedUrl(const std::string &url) {
    const std::optional<std::string> host = HostOfUrl(url);
    return host && (VARNAudioConfCheck("remote_local_addresses", "yes", 0) ||
                    HasOnlyPublicAddresses(*host));
}

}  // namespace tonvale_entry
