#include "playlist_objects.h"

#include "objects.h"
#include "service/playlists/playlist_edit.h"
#include "song_ids.h"
#include "tonvale/settings.h"

namespace tonvale_subsonic {

using namespace tonvale_service;

AnyPlaylist FindPlaylist(const Request &asked, const std::string &id) {
    return FindById(asked.User(), asked.Uid(), id);
}

std::vector<SongId> SongsOf(const std::vector<PlaylistEntry> &entries) {
    std::vector<SongId> songs;
    for (const PlaylistEntry &entry : entries) {
        songs.push_back(entry.song);
    }
    return songs;
}

Json::Value PlaylistObject(const Request &asked, const AnyPlaylist &playlist,
                           const PlaylistSum &sum) {
    const bool isOwn =
        playlist.collection.personal || (asked.Entry().Rights() & RIGHT_PLAYLIST) != 0;
    const std::string changed = TimeText(sum.changed);
    Json::Value object(Json::objectValue);
    object["id"] = playlist.id;
    object["name"] = playlist.name;
    // Clients offer changes to the owner alone.
    object["owner"] = isOwn && !playlist.isSmart ? asked.User() : "";
    object["public"] = !playlist.collection.personal;
    object["songCount"] = sum.songs;
    object["duration"] = Json::Int64{sum.seconds};
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
    const varn::OwnedSongs list = RecordsOfIds(asked.Uid(), songs);
    return AsAny(own, CreatePlaylist(own, name, "m3u", list.get()));
}

}  // namespace tonvale_subsonic
