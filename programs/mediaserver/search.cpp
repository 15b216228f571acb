#include "mediaserver/search.h"

#include <algorithm>

#include "mediaserver/description.h"
#include "mediaserver/download.h"
#include "mediaserver/ssdp.h"

namespace mediaserver {

namespace {

constexpr std::size_t kMostDevices = 64;

void Add(std::vector<Server> &servers, Server server) {
    const auto isSame = [&](const Server &known) {
        return known.controlUrl == server.controlUrl ||
               (!server.udn.empty() && known.udn == server.udn);
    };
    // A device answers once on each network that leads to it.
    if (std::none_of(servers.begin(), servers.end(), isSame)) {
        servers.push_back(std::move(server));
    }
}

}  // namespace

SearchResult Search(const SearchOptions &options) {
    Found found = FindDevices(options.address, options.wait, kMostDevices);
    const auto end = std::chrono::steady_clock::now() + options.read;
    SearchResult result;
    result.searched = found.asked;
    result.problems = std::move(found.problems);
    for (const std::string &location : found.locations) {
        if (std::chrono::steady_clock::now() >= end) {
            result.problems.push_back(location + ": there was no time to ask it");
            continue;
        }
        const Download description = Get(location);
        if (!description.problem.empty()) {
            result.problems.push_back(location + ": " + description.problem);
            continue;
        }
        if (std::optional<Server> server = ReadDescription(description.body, location)) {
            Add(result.servers, std::move(*server));
        } else {
            result.problems.push_back(location + ": describes no media server");
        }
    }
    std::sort(result.servers.begin(), result.servers.end(),
              [](const Server &a, const Server &b) { return a.name < b.name; });
    return result;
}

}  // namespace mediaserver
