// The songs of the library among the entries of playlists, without the objects of their tracks.
#pragma once

#include <optional>
#include <vector>

#include "service/playlists/playlists.h"
#include "service/songs/songs.h"

namespace tonvale_service {

// A song in a playlist.
struct PlaylistEntry {
    SongId song;
    int position;  // among all entries, from 0
    double seconds;
};

// The entries that are songs of the library that the collection's user browses; with `most` above
// 0, among that many first ones. Throws a Failure.
std::vector<PlaylistEntry> EntriesOf(AnyPlaylist playlist, int most = 0);

// Those of a list's records, the first of which has this position.
std::vector<PlaylistEntry> EntriesIn(const PLAYLIST_REC *first, int position = 0);

// What these entries add up to, and when the playlist's file was changed, in seconds since 1970; of
// a smart one that is the file of all rules.
struct PlaylistSum {
    int songs;
    long long seconds;
    long long changed;
};
PlaylistSum SumOf(const AnyPlaylist &playlist, const std::vector<PlaylistEntry> &entries);

// The sums of many playlists of one user. Those of files are kept until the file or the library
// changes (kept_list.h). Nothing for a playlist that cannot be read. Throws a Failure when one
// cannot be read only for the moment.
std::vector<std::optional<PlaylistSum>> SumsOf(const std::vector<AnyPlaylist> &playlists);

}  // namespace tonvale_service
