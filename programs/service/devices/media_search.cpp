#include <netdb.h>

#include <cstring>
#include <memory>

#include "service/base/failure.h"
#include "service/devices/media_server.h"

namespace tonvale_service {

namespace {

constexpr char kSearchPort[] = "1900";

}  // namespace

sockaddr_in SearchAddress(const std::string &text) {
    const std::size_t colon = text.rfind(':');
    const std::string host = text.substr(0, colon);
    const std::string port = colon == text.npos ? kSearchPort : text.substr(colon + 1);
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo *found = nullptr;
    const int failure = getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(failure == 0 ? found : nullptr,
                                                                   freeaddrinfo);
    if (host.empty() || failure != 0) {
        throw Failure(Reason::kNotAHost, text);
    }
    sockaddr_in address{};
    std::memcpy(&address, found->ai_addr, sizeof address);
    return address;
}

mediaserver::SearchResult FindServers(const mediaserver::SearchOptions &options) {
    mediaserver::SearchResult result = mediaserver::Search(options);
    if (!result.searched) {
        std::string problems;
        for (const std::string &problem : result.problems) {
            problems += (problems.empty() ? "" : "; ") + problem;
        }
        throw Failure(Reason::kNothingSearched, problems);
    }
    return result;
}

Json::Value ServersData(const std::vector<mediaserver::Server> &servers) {
    Json::Value data(Json::objectValue);
    Json::Value &list = data["servers"] = Json::Value(Json::arrayValue);
    for (const mediaserver::Server &server : servers) {
        Json::Value one(Json::objectValue);
        one["name"] = server.name;
        one["model"] = server.model;
        one["udn"] = server.udn;
        one["url"] = server.controlUrl;
        list.append(std::move(one));
    }
    return data;
}

}  // namespace tonvale_service
