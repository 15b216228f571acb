// The search half of SSDP (UPnP Device Architecture 1.0, chapter 1.2): IPv4.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mediaserver {

struct Found {
    std::vector<std::string> locations;  // the addresses of descriptions, each once
    std::vector<std::string> problems;   // networks that could not be asked
    bool asked = false;                  // at least one question went out
};

// Asks for ContentDirectory services, one machine or else every network, and collects `most`
// answers or those that come within the time.
Found FindDevices(const std::optional<sockaddr_in> &address, std::chrono::milliseconds wait,
                  std::size_t most);

// The location that an answer to a search names, when it is one, answers this search and names an
// address of HTTP.
std::optional<std::string> LocationOf(std::string_view answer);

}  // namespace mediaserver
