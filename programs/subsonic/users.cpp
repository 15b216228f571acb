// Users, and scans of their music: getUser, getUsers, getScanStatus, startScan.
#include "endpoint.h"
#include "objects.h"
#include "service/live/indexing.h"
#include "service/people/settings.h"
#include "tonvale/settings.h"

namespace tonvale_subsonic {

namespace {

using tonvale_service::IsAdministrator;

// No role is about the account: a key changes nothing of it.
Json::Value UserObject(const std::string &name) {
    const unsigned rights = AudioUsers::GetUserPermission(name);
    const struct {
        const char *role;
        bool has;
    } roles[] = {{"adminRole", IsAdministrator(name)},
                 {"commentRole", true},
                 {"coverArtRole", false},
                 {"downloadRole", (rights & RIGHT_STREAMING) != 0},
                 {"jukeboxRole", (rights & RIGHT_USB) != 0},
                 {"playlistRole", true},
                 {"podcastRole", false},
                 {"settingsRole", false},
                 {"shareRole", (rights & RIGHT_SHARING) != 0},
                 {"streamRole", (rights & RIGHT_STREAMING) != 0},
                 {"uploadRole", false},
                 {"videoConversionRole", false}};
    Json::Value user(Json::objectValue);
    user["username"] = name;
    user["scrobblingEnabled"] = true;
    for (const auto &[role, has] : roles) {
        user[role] = has;
    }
    Json::Value &folders = user["folder"] = Json::Value(Json::arrayValue);
    for (const MusicFolder &folder : MusicFoldersOf(tonvale_service::UidOf(name))) {
        folders.append(folder.id);
    }
    return user;
}

Json::Value GetUser(const Request &asked) {
    const std::string name = asked.Required("username");
    if (name != asked.User()) {
        asked.Entry().RequireAdministrator();
    }
    return UserObject(name);
}

Json::Value GetUsers(const Request &asked) {
    asked.Entry().RequireAdministrator();
    Json::Value list(Json::arrayValue);
    for (const Json::Value &user : tonvale_service::UserList()) {
        const std::string name = user["name"].asString();
        if (!name.empty()) {
            list.append(UserObject(name));
        }
    }
    return list;
}

Json::Value GetScanStatus(const Request &) {
    const tonvale_service::Indexing state = tonvale_service::IndexingState();
    Json::Value status(Json::objectValue);
    status["scanning"] = state.isRunning;
    status["count"] = Json::Int64(state.isRunning ? state.done : 0);
    if (state.ended > 0) {
        status["lastScan"] = TimeText(state.ended);
    }
    return status;
}

Json::Value StartScan(const Request &asked) {
    asked.Entry().RequireAdministrator();
    try {
        tonvale_service::StartIndexing();
    } catch (const tonvale_service::Failure &failure) {
        if (failure.Why() != tonvale_service::Reason::kScanRuns) {
            throw;
        }
    }
    return GetScanStatus(asked);
}

constexpr Endpoint kEndpoints[] = {
    {.name = "getScanStatus", .answer = Named<"scanStatus", GetScanStatus>},
    {.name = "getUser", .answer = Named<"user", GetUser>, .takesRoot = true},
    {.name = "getUsers", .answer = Named<"users", Named<"user", GetUsers>>, .takesRoot = true},
    {.name = "startScan", .answer = Named<"scanStatus", StartScan>, .changes = true}};

}  // namespace

const std::span<const Endpoint> kUserEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
