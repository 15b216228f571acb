// VARN.Tonvale.Sharing: the share links of the user who asks.
#include "action.h"
#include "list_request.h"
#include "service/sharing/links.h"

namespace tonvale_entry {

namespace {

using tonvale_service::CheckedDays;
using tonvale_service::Days;
using tonvale_service::LinkName;
using tonvale_service::Links;

// The links of the user who asks, who must have the right to share.
Links LinksOf(const Request &asked) {
    return {asked.User().GetLoginUID(), asked.User().GetLoginUserName()};
}

// The one of "id" and "playlist_id" that is given.
LinkName NameIn(const Request &asked) {
    LinkName name = {asked.Text("id"), asked.Text("playlist_id")};
    if (name.id.empty() == name.playlistId.empty()) {
        throw Refusal{Code::kBadParameter, "", "name the link by one of id and playlist_id"};
    }
    return name;
}

Days DaysIn(const Request &asked) {
    return CheckedDays(asked.Text("date_available"), asked.Text("date_expired"));
}

Json::Value OneLink(Json::Value sharing) {
    Json::Value data(Json::objectValue);
    data["sharing"] = std::move(sharing);
    return data;
}

Json::Value Get(const Request &asked) {
    return OneLink(LinksOf(asked).Get(NameIn(asked)));
}

Json::Value List(const Request &asked) {
    Links links = LinksOf(asked);
    const PageWanted page = PageOf(asked);
    return links.Page(page.offset, page.limit);
}

Json::Value Create(const Request &asked) {
    return OneLink(LinksOf(asked).Create(asked.RequiredText("playlist_id"), DaysIn(asked)));
}

Json::Value Update(const Request &asked) {
    return OneLink(LinksOf(asked).Update(NameIn(asked), DaysIn(asked)));
}

Json::Value Delete(const Request &asked) {
    LinksOf(asked).Delete(NameIn(asked));
    return Json::Value(Json::objectValue);
}

template <Json::Value (Links::*Do)(const std::string &songId)>
Json::Value OfSong(const Request &asked) {
    return OneLink((LinksOf(asked).*Do)(asked.RequiredText("id")));
}

constexpr Parameter kId{.name = "id", .what = "The link."};
constexpr Parameter kPlaylistId{.name = "playlist_id", .what = "In place of id: the playlist."};
constexpr std::array kDays = {
    Parameter{.name = "date_available", .what = "The first day, YYYY-MM-DD; 0: from the start."},
    Parameter{.name = "date_expired", .what = "The last day, YYYY-MM-DD; 0: without an end."}};
constexpr std::array kLinkParameters = {kId, kPlaylistId};
constexpr auto kCreateParameters =
    Join(Parameter{.name = "playlist_id", .what = "The playlist, of any kind.", .isRequired = true},
         kDays);
constexpr auto kUpdateParameters = Join(kLinkParameters, kDays);
constexpr std::array kSongParameters = {
    Parameter{.name = "id", .what = "The song.", .isRequired = true}};

constexpr Method kMethods[] = {
    {.name = "get",
     .make = Make<Get>,
     .summary = "A link of the user",
     .parameters = kLinkParameters,
     .answer = "OneSharing"},
    {.name = "list",
     .make = Make<List>,
     .summary = "All links of the user",
     .parameters = kPaging,
     .answer = "SharingPage"},
    {.name = "create",
     .make = Make<Create>,
     .changes = true,
     .summary = "Make a link for a playlist; a last day alone begins today, a first day alone is "
                "400",
     .parameters = kCreateParameters,
     .answer = "OneSharing"},
    {.name = "update",
     .make = Make<Update>,
     .changes = true,
     .summary = "Give a link other days",
     .parameters = kUpdateParameters,
     .answer = "OneSharing"},
    {.name = "delete",
     .make = Make<Delete>,
     .changes = true,
     .summary = "Take a link away; the playlist stays",
     .parameters = kLinkParameters},
    {.name = "get_song",
     .make = Make<OfSong<&Links::GetSong>>,
     .summary = "The link of the list of shared songs, when a song is on it",
     .parameters = kSongParameters,
     .answer = "OneSharing"},
    {.name = "share_song",
     .make = Make<OfSong<&Links::ShareSong>>,
     .changes = true,
     .summary = "Put a song on the list of shared songs, which has a link of its own",
     .parameters = kSongParameters,
     .answer = "OneSharing"},
    {.name = "unshare_song",
     .make = Make<OfSong<&Links::UnshareSong>>,
     .changes = true,
     .summary = "Take a song off that list",
     .parameters = kSongParameters,
     .answer = "OneSharing"},
};

constexpr Field kSharing[] = {
    {"id", "text"},
    {"url", "text"},
    {"date_available", "text", "YYYY-MM-DD; 0: from the start"},
    {"date_expired", "text", "YYYY-MM-DD; 0: without an end"},
    {"status", "text", "valid, invalid before its first day, expired"},
    {"playlist_id", "text"},
    {"name", "text"},
    {"made", "time"},
    {"song_url?", "text", "of get_song and share_song: of that song alone"}};
constexpr Field kOne[] = {{"sharing", "Sharing"}};
constexpr Field kPage[] = {{"offset", "number"}, {"total", "number"}, {"sharings", "[Sharing]"}};
constexpr Schema kSchemas[] = {{"Sharing", kSharing}, {"OneSharing", kOne}, {"SharingPage", kPage}};

}  // namespace

const Api kSharingApi{.name = "VARN.Tonvale.Sharing",
                      .methods = kMethods,
                      .summary =
                          "The share links of the user, who needs the right sharing: "
                          "docs/sharing.md",
                      .schemas = kSchemas};

}  // namespace tonvale_entry
