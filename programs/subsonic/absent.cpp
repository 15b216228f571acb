// What this server does not have: videos, podcasts, chat, avatars, and accounts to change.
#include "endpoint.h"

namespace tonvale_subsonic {

namespace {

Json::Value NotOffered(const Request &) {
    throw Fault{kNotFound, "this server has no videos, podcasts and chat"};
}

bool SendNotOffered(const Request &) {
    throw Fault{kNotFound, "this server has no videos, segmented streams and avatars"};
}

Json::Value NoAccounts(const Request &) {
    throw Fault{kNotPermitted, "a program's key changes no users and no passwords; the page does"};
}

Json::Value Empty(const Request &) {
    return Json::Value(Json::objectValue);
}

constexpr Endpoint kEndpoints[] = {
    {.name = "addChatMessage", .answer = NotOffered},
    {.name = "changePassword", .answer = NoAccounts},
    {.name = "createPodcastChannel", .answer = NotOffered},
    {.name = "createUser", .answer = NoAccounts},
    {.name = "deletePodcastChannel", .answer = NotOffered},
    {.name = "deletePodcastEpisode", .answer = NotOffered},
    {.name = "deleteUser", .answer = NoAccounts},
    {.name = "downloadPodcastEpisode", .answer = NotOffered},
    {.name = "getAvatar", .send = SendNotOffered},
    {.name = "getCaptions", .send = SendNotOffered},
    {.name = "getChatMessages", .answer = Named<"chatMessages", Empty>},
    {.name = "getNewestPodcasts", .answer = Named<"newestPodcasts", Empty>},
    {.name = "getPodcastEpisode", .answer = NotOffered},
    {.name = "getPodcasts", .answer = Named<"podcasts", Empty>},
    {.name = "getVideoInfo", .answer = NotOffered},
    {.name = "getVideos", .answer = Named<"videos", Empty>},
    {.name = "hls", .send = SendNotOffered},
    {.name = "hls.m3u8", .send = SendNotOffered},
    {.name = "refreshPodcasts", .answer = NotOffered},
    {.name = "updateUser", .answer = NoAccounts}};

}  // namespace

const std::span<const Endpoint> kAbsentEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
