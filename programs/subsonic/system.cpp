// What the server is: ping, getLicense, getOpenSubsonicExtensions, tokenInfo.
#include "endpoint.h"

namespace tonvale_subsonic {

namespace {

Json::Value Ping(const Request &) {
    return Json::Value(Json::objectValue);
}

Json::Value GetLicense(const Request &) {
    Json::Value members(Json::objectValue);
    members["license"]["valid"] = true;
    return members;
}

// Each in version 1.
Json::Value GetExtensions(const Request &) {
    Json::Value members(Json::objectValue);
    Json::Value &list = members["openSubsonicExtensions"];
    for (const char *name :
         {"apiKeyAuthentication", "formPost", "indexBasedQueue", "songLyrics", "transcodeOffset"}) {
        Json::Value extension(Json::objectValue);
        extension["name"] = name;
        extension["versions"].append(1);
        list.append(std::move(extension));
    }
    return members;
}

Json::Value TokenInfo(const Request &asked) {
    Json::Value members(Json::objectValue);
    members["tokenInfo"]["username"] = asked.User();
    return members;
}

constexpr Endpoint kEndpoints[] = {
    {.name = "getLicense", .answer = GetLicense},
    {.name = "getOpenSubsonicExtensions", .answer = GetExtensions, .needsLogin = false},
    {.name = "ping", .answer = Ping},
    {.name = "tokenInfo", .answer = TokenInfo}};

}  // namespace

const std::span<const Endpoint> kSystemEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
