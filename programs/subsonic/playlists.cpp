// Playlists: getPlaylists, getPlaylist, createPlaylist, updatePlaylist, deletePlaylist.
#include <climits>

#include "endpoint.h"
#include "objects.h"
#include "playlist_entries.h"
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
    const std::vector<PlaylistEntry> entries = EntriesOf(asked, playlist);
    Json::Value members(Json::objectValue);
    Json::Value &told = members["playlist"] = PlaylistObject(asked, playlist, entries);
    told["entry"] = ChildrenOf(asked, SongsOf(entries));
    told["songCount"] = told["entry"].size();
    return members;
}

Json::Value GetPlaylist(const Request &asked) {
    return WithSongs(asked, FindPlaylist(asked, asked.Required("id")));
}

Json::Value Listed(const Request &asked, const std::string &id) {
    const AnyPlaylist playlist = FindPlaylist(asked, id);
    return PlaylistObject(asked, playlist, EntriesOf(asked, playlist));
}

Json::Value GetPlaylists(const Request &asked) {
    if (asked.Text("username", asked.User()) != asked.User()) {
        throw Fault{kNotPermitted, "the playlists of other users are theirs alone"};
    }
    std::vector<Collection> collections;
    for (const bool isPersonal : {true, false}) {
        collections.push_back({asked.User(), isPersonal, asked.Uid()});
        Complete(collections.back());
    }
    Json::Value members(Json::objectValue);
    Json::Value &list = members["playlists"]["playlist"] = Json::Value(Json::arrayValue);
    const auto page = ListPlaylists(collections, 0, 0);
    for (Json::Value part = page->Next(); !part.empty(); part = page->Next()) {
        for (const Json::Value &playlist : part) {
            try {
                list.append(Listed(asked, playlist["id"].asString()));
            } catch (const Failure &failure) {
                // One that cannot be read takes the others nothing away.
                if (failure.Class() == FailureClass::kBusy) {
                    throw;
                }
            }
        }
    }
    return members;
}

void Rename(const Request &asked, AnyPlaylist &playlist) {
    const std::string name = asked.Text("name");
    if (!name.empty() && name != playlist.name) {
        playlist =
            AsAny(playlist.collection, RenamePlaylist(playlist.collection, playlist.normal, name));
    }
}

varn::OwnedSongs SongsNamed(const Request &asked, const std::vector<std::string> &ids) {
    RowsOf(ids);
    return SongsOfIds(asked.Uid(), ids);
}

// With an identifier, the songs of that playlist become these.
Json::Value CreatePlaylist(const Request &asked) {
    const std::string id = asked.Text("playlistId");
    const std::vector<std::string> songs = asked.All("songId");
    if (id.empty()) {
        return WithSongs(asked, MakePlaylist(asked, asked.Required("name"), songs));
    }
    AnyPlaylist playlist = ForChange(asked, id);
    varn::OwnedSongs list = SongsNamed(asked, songs);
    Rename(asked, playlist);  // a name that is taken leaves the songs as they are
    ReplaceSongs(playlist.collection, playlist.normal, 0, -1, std::move(list));
    return WithSongs(asked, playlist);
}

// The positions of the songs that a client sees at some places.
std::vector<int> PositionsOf(const Request &asked, const AnyPlaylist &playlist) {
    std::vector<int> positions;
    const std::vector<std::string> places = asked.All("songIndexToRemove");
    if (places.empty()) {
        return positions;
    }
    const std::vector<PlaylistEntry> entries = EntriesOf(asked, playlist);
    const auto children = ChildrenById(asked, SongsOf(entries));
    std::vector<int> seen;
    for (const PlaylistEntry &entry : entries) {
        if (children.contains(tonvale_service::SongIdText(entry.song))) {
            seen.push_back(entry.position);
        }
    }
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

Json::Value UpdatePlaylist(const Request &asked) {
    AnyPlaylist playlist = ForChange(asked, asked.Required("playlistId"));
    if (asked.Flag("public", !playlist.collection.personal) == playlist.collection.personal) {
        throw Fault{kGeneric, "a playlist stays shared or its user's own; a share publishes it"};
    }
    const std::vector<int> positions = PositionsOf(asked, playlist);
    varn::OwnedSongs songs = SongsNamed(asked, asked.All("songIdToAdd"));
    Rename(asked, playlist);
    if (!positions.empty()) {
        RemovePositions(playlist.collection, playlist.normal, positions);
    }
    if (songs) {
        AppendSongs(playlist.collection, playlist.normal, std::move(songs), false);
    }
    return Json::Value(Json::objectValue);
}

Json::Value Delete(const Request &asked) {
    const AnyPlaylist playlist = ForChange(asked, asked.Required("id"));
    DeletePlaylist(playlist.collection, playlist.normal);
    return Json::Value(Json::objectValue);
}

constexpr Endpoint kEndpoints[] = {
    {.name = "createPlaylist", .answer = CreatePlaylist, .changes = true, .takesRoot = true},
    {.name = "deletePlaylist", .answer = Delete, .changes = true, .takesRoot = true},
    {.name = "getPlaylist", .answer = GetPlaylist, .takesRoot = true},
    {.name = "getPlaylists", .answer = GetPlaylists, .takesRoot = true},
    {.name = "updatePlaylist", .answer = UpdatePlaylist, .changes = true, .takesRoot = true}};

}  // namespace

const std::span<const Endpoint> kPlaylistEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
