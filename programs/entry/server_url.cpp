#include "server_url.h"

#include <arpa/inet.h>

#include <algorithm>

#include "remote_url.h"
#include "varn/packageconf.h"

namespace tonvale_entry {

namespace {

struct Network {
    in_addr_t address;
    int bits;
};
constexpr Network kPrivate[] = {{0x0A000000, 8}, {0xAC100000, 12}, {0xC0A80000, 16}};

bool IsPrivate(const std::string &host) {
    in_addr found{};
    // Four numbers in decimal and nothing else, unlike what libcurl and the resolver take.
    if (inet_pton(AF_INET, host.c_str(), &found) != 1) {
        return false;
    }
    const in_addr_t address = ntohl(found.s_addr);
    return std::any_of(std::begin(kPrivate), std::end(kPrivate), [&](const Network &network) {
        return (address ^ network.address) >> (32 - network.bits) == 0;
    });
}

bool PermitsAnyAddress() {
    return VARNAudioConfCheck("media_server_any_address", "yes", 0);
}

}  // namespace

bool IsServerUrl(const std::string &url) {
    const std::optional<std::string> host = HostOfUrl(url);
    return host && (IsPrivate(*host) || PermitsAnyAddress());
}

bool IsServerAddress(const std::string &address) {
    return IsPrivate(address.substr(0, address.rfind(':'))) || PermitsAnyAddress();
}

}  // namespace tonvale_entry
