#include "playlist_entries.h"

#include <sys/stat.h>

#include "objects.h"
#include "service/lists/tracks.h"
#include "service/playlists/playlist_edit.h"
#include "service/playlists/playlist_place.h"
#include "song_ids.h"
#include "tonvale/settings.h"
#include "varn/run_as.h"

namespace tonvale_subsonic {

using namespace tonvale_service;

namespace {

// When the playlist's file was changed, seconds since 1970; of a smart one, the file of all rules.
long long ChangedOf(const AnyPlaylist &playlist) {
    struct stat info {};
    const varn::RunAs root(varn::Who::kRoot);
    if (playlist.isSmart) {
        return stat(SmartPlaylistFile(playlist.collection).c_str(), &info) == 0 ? info.st_mtime : 0;
    }
    Playlist normal = playlist.normal;
    const HeldPlaylist held = HoldToRead(playlist.collection, normal);
    return stat(held.Path().c_str(), &info) == 0 ? info.st_mtime : 0;
}

}  // namespace

AnyPlaylist FindPlaylist(const Request &asked, const std::string &id) {
    return FindById(asked.User(), asked.Uid(), id);
}

std::vector<PlaylistEntry> EntriesOf(const Request &asked, const AnyPlaylist &playlist, int most) {
    Tonvale::webapi::playlist::PlaylistLibrary library(asked.Entry().User());
    Apply({"song_audio"}, library);
    const auto page = ListTracks(playlist, library, 0, most == INT_MAX ? 0 : most);
    std::vector<PlaylistEntry> entries;
    int position = 0;
    for (Json::Value tracks = page->Next(); !tracks.empty(); tracks = page->Next()) {
        for (const Json::Value &track : tracks) {
            const auto song = ParseSongId(track["id"].asString());
            if (song && song->row > 0) {
                entries.push_back({*song, position,
                                   track["additional"]["song_audio"].get("duration", 0).asInt()});
            }
            ++position;
        }
    }
    return entries;
}

std::vector<SongId> SongsOf(const std::vector<PlaylistEntry> &entries) {
    std::vector<SongId> songs;
    for (const PlaylistEntry &entry : entries) {
        songs.push_back(entry.song);
    }
    return songs;
}

Json::Value PlaylistObject(const Request &asked, const AnyPlaylist &playlist,
                           const std::vector<PlaylistEntry> &entries) {
    long long seconds = 0;
    for (const PlaylistEntry &entry : entries) {
        seconds += entry.seconds;
    }
    const bool isOwn =
        playlist.collection.personal || (asked.Entry().Rights() & RIGHT_PLAYLIST) != 0;
    const std::string changed = TimeText(ChangedOf(playlist));
    Json::Value object(Json::objectValue);
    object["id"] = playlist.id;
    object["name"] = playlist.name;
    // Clients offer changes to the owner alone.
    object["owner"] = isOwn && !playlist.isSmart ? asked.User() : "";
    object["public"] = !playlist.collection.personal;
    object["songCount"] = static_cast<int>(entries.size());
    object["duration"] = Json::Int64{seconds};
    object["created"] = changed;
    object["changed"] = changed;
    object["coverArt"] = playlist.id;
    return object;
}

AnyPlaylist MakePlaylist(const Request &asked, const std::string &name,
                         const std::vector<std::string> &songs) {
    RowsOf(songs);
    Collection own{asked.User(), true, asked.Uid()};
    Complete(own);
    const varn::OwnedSongs list = SongsOfIds(asked.Uid(), songs);
    return AsAny(own, CreatePlaylist(own, name, "m3u", list.get()));
}

}  // namespace tonvale_subsonic
