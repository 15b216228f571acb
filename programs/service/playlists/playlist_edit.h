// What can be done with a playlist.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "service/playlists/playlist_songs.h"
#include "service/playlists/playlist_target.h"

namespace tonvale_service {

// The formats in which playlists are written, by their extensions.
const std::vector<std::string> &WrittenFormats();

// The names of a playlist's songs (NameInPlaylist). Throws a Failure.
std::set<std::string> SongNames(const Collection &collection, Playlist playlist);

// Each throws a Failure for what cannot be done. They may leave the process running as the
// package's account.

// Makes a playlist and returns it.
Playlist CreatePlaylist(const Collection &collection, const std::string &name,
                        const std::string &format, const PLAYLIST_REC *songs);

// These return the playlist's state afterwards (Playlist::state).
std::string ReplaceSongs(const Collection &collection, const Playlist &playlist, int start,
                         int length, varn::OwnedSongs songs);
std::string AppendSongs(const Collection &collection, const Playlist &playlist,
                        varn::OwnedSongs songs, bool skipDuplicates);
std::string RemovePositions(const Collection &collection, const Playlist &playlist,
                            const std::vector<int> &positions);
std::string RemoveMissing(const Collection &collection, const Playlist &playlist);

// Several changes in one: all of them, or none. Returns the playlist as it is called then.
struct PlaylistEdit {
    // The positions that go, chosen while nobody else changes the list.
    std::function<std::vector<int>(const PLAYLIST_REC *songs)> removed = {};
    bool removesAll = false;
    varn::OwnedSongs added = {};  // at the end
    std::string name = {};        // "": as it is
};
Playlist EditPlaylist(const Collection &collection, const Playlist &playlist, PlaylistEdit edit);
// Returns the playlist as it is called then.
Playlist RenamePlaylist(const Collection &collection, const Playlist &playlist,
                        const std::string &name);
void DeletePlaylist(const Collection &collection, const Playlist &playlist);

}  // namespace tonvale_service
