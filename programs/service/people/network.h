// The network that a client is counted by.
#pragma once

#include <string>

namespace tonvale_service {

// Of an IPv6 address the first 64 bits, because one client has all addresses below them. An IPv4
// address, also one that is mapped into IPv6, as it is.
std::string NetworkOf(const std::string &address);

}  // namespace tonvale_service
