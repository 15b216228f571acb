// What can be done with a playlist.
#pragma once

#include <string>
#include <vector>

#include "playlist_target.h"

namespace tonvale_cli {

// The records of songs that are named by their ids, paths, virtual names or URLs, in this order; of
// a file that the library does not know, just the path. Empty, with a message, when one of them is
// none of these.
std::optional<SongRecords> FindSongs(const Collection &collection,
                                     const std::vector<std::string> &names);

// Each returns the exit status, with a message for a failure.
int CreatePlaylist(const Collection &collection, const std::string &name, const std::string &format,
                   const PLAYLIST_REC *songs);
int ReplaceSongs(const Collection &collection, const Playlist &playlist, int start, int length,
                 const PLAYLIST_REC *songs);
int AppendSongs(const Collection &collection, const Playlist &playlist, const PLAYLIST_REC *songs,
                bool skipDuplicates);
int RemovePositions(const Collection &collection, const Playlist &playlist,
                    const std::vector<int> &positions);
int RemoveMissing(const Collection &collection, const Playlist &playlist);
int RenamePlaylist(const Collection &collection, const Playlist &playlist, const std::string &name);
int DeletePlaylist(const Collection &collection, const Playlist &playlist);

}  // namespace tonvale_cli
