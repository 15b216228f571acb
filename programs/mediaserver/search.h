// Finding media servers: a search of the network (SSDP, UPnP Device Architecture 1.0) and a look at
// the description of every device that answers.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace mediaserver {

struct Server {
    std::string name;
    std::string model;
    std::string udn;         // its unique device name, "uuid:..."
    std::string controlUrl;  // of its ContentDirectory service
};

struct SearchOptions {
    // Without it every network that the machine is part of is searched, by multicast.
    std::optional<sockaddr_in> address;
    std::chrono::milliseconds wait{3000};  // how long answers are awaited
    // How long their descriptions are read; a device that is late is named among the problems.
    std::chrono::milliseconds read{200000};
};

struct SearchResult {
    std::vector<Server> servers;        // each once, by name
    std::vector<std::string> problems;  // why the search, or a device that answered, gave nothing
    bool searched = false;              // false when nothing could be asked at all
};

// Asks, waits and looks at what answered: 64 devices at most, three seconds for each.
SearchResult Search(const SearchOptions &options);

}  // namespace mediaserver
