#include "service/people/network.h"

#include <arpa/inet.h>

#include <array>
#include <cstring>

namespace tonvale_service {

std::string NetworkOf(const std::string &address) {
    in6_addr six{};
    if (inet_pton(AF_INET6, address.c_str(), &six) != 1 || IN6_IS_ADDR_V4MAPPED(&six)) {
        return address.substr(address.rfind(':') + 1);
    }
    std::memset(six.s6_addr + 8, 0, 8);
    std::array<char, INET6_ADDRSTRLEN> text{};
    return inet_ntop(AF_INET6, &six, text.data(), text.size());
}

}  // namespace tonvale_service
