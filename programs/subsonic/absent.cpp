// What this server does not have: videos, podcasts, chat, avatars, and accounts to change.
#include "endpoint.h"

namespace tonvale_subsonic {

namespace {

Json::Value NotOffered(const Request &) {
    throw Fault{kNotFound, "this server has no videos, podcasts, chat and avatars"};
}

bool SendNotOffered(const Request &) {
    throw Fault{kNotFound, "this server has no playlists of parts, captions and avatars"};
}

Json::Value NoAccounts(const Request &) {
    throw Fault{kNotPermitted, "a program's key changes no users and no passwords; the page does"};
}

// An empty list of the name.
template <const char *Name>
Json::Value Empty(const Request &) {
    Json::Value members(Json::objectValue);
    members[Name] = Json::Value(Json::objectValue);
    return members;
}

constexpr char kVideos[] = "videos";
constexpr char kPodcasts[] = "podcasts";
constexpr char kNewestPodcasts[] = "newestPodcasts";
constexpr char kChatMessages[] = "chatMessages";

constexpr Endpoint kEndpoints[] = {{.name = "addChatMessage", .answer = NotOffered},
                                   {.name = "changePassword", .answer = NoAccounts},
                                   {.name = "createPodcastChannel", .answer = NotOffered},
                                   {.name = "createUser", .answer = NoAccounts},
                                   {.name = "deletePodcastChannel", .answer = NotOffered},
                                   {.name = "deletePodcastEpisode", .answer = NotOffered},
                                   {.name = "deleteUser", .answer = NoAccounts},
                                   {.name = "downloadPodcastEpisode", .answer = NotOffered},
                                   {.name = "getAvatar", .send = SendNotOffered},
                                   {.name = "getCaptions", .send = SendNotOffered},
                                   {.name = "getChatMessages", .answer = Empty<kChatMessages>},
                                   {.name = "getNewestPodcasts", .answer = Empty<kNewestPodcasts>},
                                   {.name = "getPodcastEpisode", .answer = NotOffered},
                                   {.name = "getPodcasts", .answer = Empty<kPodcasts>},
                                   {.name = "getVideoInfo", .answer = NotOffered},
                                   {.name = "getVideos", .answer = Empty<kVideos>},
                                   {.name = "hls", .send = SendNotOffered},
                                   {.name = "hls.m3u8", .send = SendNotOffered},
                                   {.name = "refreshPodcasts", .answer = NotOffered},
                                   {.name = "updateUser", .answer = NoAccounts}};

}  // namespace

const std::span<const Endpoint> kAbsentEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
