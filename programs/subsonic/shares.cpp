// Share links: getShares, createShare, updateShare, deleteShare. A link publishes a playlist.
#include <algorithm>
#include <climits>
#include <ctime>

#include "endpoint.h"
#include "objects.h"
#include "playlist_objects.h"
#include "service/base/text.h"
#include "service/playlists/playlist_edit.h"
#include "service/playlists/playlist_target.h"
#include "service/sharing/links.h"
#include "song_ids.h"
#include "varn/number.h"

namespace tonvale_subsonic {

namespace {

using namespace tonvale_service;

constexpr long long kMostMilliseconds = 253'402'300'799'000;  // the year 9999

Links LinksOf(const Request &asked) {
    return {asked.Uid(), asked.User()};
}

// The day of a moment, where the server is: a link works until the end of a day.
Days Until(long long milliseconds) {
    const time_t moment = milliseconds / 1000;
    std::tm parts = {};
    char day[16] = "";
    if (milliseconds == 0) {
        return CheckedDays("", "");
    }
    if (moment < std::time(nullptr) || localtime_r(&moment, &parts) == nullptr ||
        std::strftime(day, sizeof day, "%Y-%m-%d", &parts) == 0) {
        throw Fault{kGeneric, "the parameter 'expires' takes a moment to come"};
    }
    return CheckedDays("", day);
}

// The end of a day, as a moment.
std::string EndOf(const std::string &day) {
    std::tm parts = {};
    parts.tm_isdst = -1;
    if (strptime(day.c_str(), "%Y-%m-%d", &parts) == nullptr) {
        return TimeText(0);
    }
    parts.tm_mday += 1;
    return TimeText(std::mktime(&parts));
}

// The songs of a link; none when its playlist is gone.
std::vector<SongId> SongsOfLink(const Request &asked, const Json::Value &link) {
    try {
        return SongsOf(EntriesOf(FindPlaylist(asked, link["playlist_id"].asString())));
    } catch (const Failure &failure) {
        if (failure.Class() != FailureClass::kNotFound &&
            failure.Class() != FailureClass::kBadValue) {
            throw;
        }
        return {};
    }
}

Json::Value ShareObject(const Request &asked, const Json::Value &link) {
    Json::Value share(Json::objectValue);
    share["id"] = link["id"];
    share["url"] = link["url"];
    share["description"] = link["name"];
    share["username"] = asked.User();
    share["created"] = TimeText(link["made"].asInt64());
    share["visitCount"] = 0;
    if (link["date_expired"].asString() != "0") {
        share["expires"] = EndOf(link["date_expired"].asString());
    }
    share["entry"] = Json::Value(Json::arrayValue);
    return share;
}

// Links with their songs, which are all read at once.
Json::Value Shares(const Request &asked, const std::vector<Json::Value> &links) {
    std::vector<std::vector<SongId>> songs;
    std::vector<SongId> all;
    for (const Json::Value &link : links) {
        songs.push_back(SongsOfLink(asked, link));
        all.insert(all.end(), songs.back().begin(), songs.back().end());
    }
    const auto children = ChildrenById(asked, all);
    Json::Value list(Json::arrayValue);
    for (std::size_t i = 0; i < links.size(); ++i) {
        Json::Value &share = list.append(ShareObject(asked, links[i]));
        for (const SongId song : songs[i]) {
            if (const auto child = children.find(tonvale_service::SongIdText(song));
                child != children.end()) {
                share["entry"].append(child->second);
            }
        }
    }
    return list;
}

Json::Value List(const Request &asked) {
    const Json::Value page = LinksOf(asked).Page(0, INT_MAX);
    return Shares(asked, {page["sharings"].begin(), page["sharings"].end()});
}

// The songs of all identifiers, which are those of songs and albums.
std::vector<std::string> SongsIn(const Request &asked, const std::vector<std::string> &ids) {
    CheckFewGroups(ids);
    std::vector<std::string> songs;
    for (const std::string &id : ids) {
        if (id.starts_with(kAlbumPrefix)) {
            for (const SongFacts &song : SongsOf(asked, FindAlbum(asked, id))) {
                songs.push_back(tonvale_service::SongIdText(song.id));
            }
        } else {
            RowOf(id);
            songs.push_back(id);
        }
    }
    return songs;
}

std::string NowText() {
    const time_t now = std::time(nullptr);
    std::tm parts = {};
    char text[32] = "";
    localtime_r(&now, &parts);
    std::strftime(text, sizeof text, "Shared %Y-%m-%d %H.%M.%S", &parts);
    return text;
}

// A description as the name of a playlist, which is that of a file.
std::string NameOf(const std::string &description) {
    constexpr std::size_t kAdded = 16;  // room for the words here and for a number
    if (description.empty()) {
        return NowText();
    }
    std::string name = description.substr(0, CutLength(description, kLongestPlaylistName - kAdded));
    std::replace_if(
        name.begin(), name.end(),
        [](unsigned char c) { return c == '/' || c < ' ' || c == '\x7F'; }, '-');
    return name.front() == '.' || varn::IsNumber(name) ? "Shared " + name : name;
}

// A playlist of the user's own. If the name is taken, it gets a number.
AnyPlaylist MakeNamed(const Request &asked, const std::string &name,
                      const std::vector<std::string> &songs) {
    constexpr int kMostTries = 100;
    for (int number = 1;; ++number) {
        try {
            const std::string suffix = number > 1 ? " (" + std::to_string(number) + ")" : "";
            return MakePlaylist(asked, name + suffix, songs);
        } catch (const Failure &failure) {
            if (failure.Why() != Reason::kPlaylistExists || number == kMostTries) {
                throw;
            }
        }
    }
}

// A playlist alone is published itself. Songs become a playlist first.
Json::Value Create(const Request &asked) {
    Links links = LinksOf(asked);
    const std::vector<std::string> ids = asked.RequiredAll("id");
    const Days days = Until(asked.Number("expires", 0, 0, kMostMilliseconds));
    const bool isPlaylist = ids.size() == 1 && IsPlaylistId(ids.front());
    const AnyPlaylist playlist =
        isPlaylist ? FindPlaylist(asked, ids.front())
                   : MakeNamed(asked, NameOf(asked.Text("description")), SongsIn(asked, ids));
    Json::Value link;
    try {
        link = links.Create(playlist.id, days);
    } catch (const Failure &) {
        if (!isPlaylist) {
            DeletePlaylist(playlist.collection, playlist.normal);
        }
        throw;
    }
    return Shares(asked, {link});
}

Json::Value Update(const Request &asked) {
    Links links = LinksOf(asked);
    const LinkName name = {asked.Required("id"), ""};
    const Json::Value link = links.Get(name);
    const std::string description = asked.Text("description", link["name"].asString());
    if (description != link["name"].asString()) {
        throw Fault{kGeneric, "a share has the name of its playlist"};
    }
    if (const auto expires = asked.GivenNumber("expires", 0, kMostMilliseconds)) {
        links.Update(name, Until(*expires));
    }
    return Json::Value(Json::objectValue);
}

Json::Value Delete(const Request &asked) {
    LinksOf(asked).Delete({asked.Required("id"), ""});
    return Json::Value(Json::objectValue);
}

constexpr Endpoint kEndpoints[] = {
    {.name = "createShare",
     .answer = Named<"shares", Named<"share", Create>>,
     .changes = true,
     .takesRoot = true},
    {.name = "deleteShare", .answer = Delete, .changes = true, .takesRoot = true},
    {.name = "getShares", .answer = Named<"shares", Named<"share", List>>, .takesRoot = true},
    {.name = "updateShare", .answer = Update, .changes = true, .takesRoot = true}};

}  // namespace

const std::span<const Endpoint> kShareEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
