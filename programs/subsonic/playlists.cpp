// Playlists: getPlaylists, getPlaylist, createPlaylist, updatePlaylist, deletePlaylist.
#include <iterator>

#include "endpoint.h"
#include "objects.h"
#include "playlist_objects.h"
#include "service/playlists/playlist_edit.h"
#include "song_ids.h"
#include "tonvale/settings.h"

namespace tonvale_subsonic {

namespace {

using namespace tonvale_service;

// A playlist that the request may change.
AnyPlaylist ForChange(const Request &asked, const std::string &id) {
    AnyPlaylist playlist = FindPlaylist(asked, id);
    if (playlist.isSmart) {
        throw Fault{kNotPermitted, "the rules of a smart playlist choose its songs"};
    }
    if (!playlist.collection.personal) {
        asked.Require(RIGHT_PLAYLIST);
    }
    return playlist;
}

Json::Value WithSongs(const Request &asked, const AnyPlaylist &playlist) {
    const std::vector<PlaylistEntry> entries = EntriesOf(playlist);
    Json::Value told = PlaylistObject(asked, playlist, SumOf(playlist, entries));
    told["entry"] = ChildrenOf(asked, SongsOf(entries));
    told["songCount"] = told["entry"].size();
    return told;
}

Json::Value Get(const Request &asked) {
    return WithSongs(asked, FindPlaylist(asked, asked.Required("id")));
}

Json::Value List(const Request &asked) {
    const std::string user = asked.Text("username");
    if (!user.empty() && user != asked.User()) {
        throw Fault{kNotPermitted, "the playlists of other users are theirs alone"};
    }
    std::vector<Collection> collections;
    for (const bool isPersonal : {true, false}) {
        collections.push_back({asked.User(), isPersonal, asked.Uid()});
        Complete(collections.back());
    }
    std::vector<AnyPlaylist> playlists;
    const auto page = ListPlaylists(collections, 0, 0);
    for (auto part = page->Some(); !part.empty(); part = page->Some()) {
        playlists.insert(playlists.end(), std::make_move_iterator(part.begin()),
                         std::make_move_iterator(part.end()));
    }
    const auto sums = SumsOf(playlists);
    Json::Value list(Json::arrayValue);
    for (std::size_t i = 0; i < playlists.size(); ++i) {
        // The others are listed without a playlist that cannot be read.
        if (sums[i]) {
            list.append(PlaylistObject(asked, playlists[i], *sums[i]));
        }
    }
    return list;
}

varn::OwnedSongs SongsNamed(const Request &asked, const std::vector<std::string> &ids) {
    RowsOf(ids);
    return RecordsOfIds(asked.Uid(), ids);
}

AnyPlaylist Edit(const AnyPlaylist &playlist, PlaylistEdit edit) {
    return AsAny(playlist.collection,
                 EditPlaylist(playlist.collection, playlist.normal, std::move(edit)));
}

// With an identifier, the songs of that playlist become these.
Json::Value Create(const Request &asked) {
    const std::string id = asked.Text("playlistId");
    const std::vector<std::string> songs = asked.All("songId");
    if (id.empty()) {
        return WithSongs(asked, MakePlaylist(asked, asked.Required("name"), songs));
    }
    return WithSongs(asked, Edit(ForChange(asked, id), {.removesAll = true,
                                                        .added = SongsNamed(asked, songs),
                                                        .name = asked.Text("name")}));
}

// The positions of the songs that a client sees at some places.
std::vector<int> PositionsOf(const Request &asked, const PLAYLIST_REC *songs,
                             const std::vector<std::string> &places) {
    const std::vector<PlaylistEntry> entries = EntriesIn(songs);
    const auto children = ChildrenById(asked, SongsOf(entries));
    std::vector<int> seen;
    for (const PlaylistEntry &entry : entries) {
        if (children.contains(tonvale_service::SongIdText(entry.song))) {
            seen.push_back(entry.position);
        }
    }
    std::vector<int> positions;
    for (const std::string &place : places) {
        const auto index =
            tonvale_entry::ParseNumber(place, 0, static_cast<long long>(seen.size()) - 1);
        if (!index) {
            throw Fault{kGeneric, "the playlist has no song at the place '" + place + "'"};
        }
        positions.push_back(seen[static_cast<std::size_t>(*index)]);
    }
    return positions;
}

Json::Value Update(const Request &asked) {
    const AnyPlaylist playlist = ForChange(asked, asked.Required("playlistId"));
    if (asked.Flag("public", !playlist.collection.personal) == playlist.collection.personal) {
        throw Fault{kGeneric, "a playlist stays shared or its user's own; a share publishes it"};
    }
    PlaylistEdit edit = {.added = SongsNamed(asked, asked.All("songIdToAdd")),
                         .name = asked.Text("name")};
    if (const auto places = asked.All("songIndexToRemove"); !places.empty()) {
        edit.removed = [&asked, places](const PLAYLIST_REC *songs) {
            return PositionsOf(asked, songs, places);
        };
    }
    Edit(playlist, std::move(edit));
    return Json::Value(Json::objectValue);
}

Json::Value Delete(const Request &asked) {
    const AnyPlaylist playlist = ForChange(asked, asked.Required("id"));
    DeletePlaylist(playlist.collection, playlist.normal);
    return Json::Value(Json::objectValue);
}

constexpr Endpoint kEndpoints[] = {
    {.name = "createPlaylist",
     .answer = Named<"playlist", Create>,
     .changes = true,
     .takesRoot = true},
    {.name = "deletePlaylist", .answer = Delete, .changes = true, .takesRoot = true},
    {.name = "getPlaylist", .answer = Named<"playlist", Get>, .takesRoot = true},
    {.name = "getPlaylists",
     .answer = Named<"playlists", Named<"playlist", List>>,
     .takesRoot = true},
    {.name = "updatePlaylist", .answer = Update, .changes = true, .takesRoot = true}};

}  // namespace

const std::span<const Endpoint> kPlaylistEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
