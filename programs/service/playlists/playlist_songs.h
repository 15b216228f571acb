// The songs of playlists, by their ids and by the names that they have there.
#pragma once

#include <sys/types.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "service/songs/songs.h"
#include "tonvale/playlists.h"
#include "varn/handles.h"

namespace tonvale_service {

// A new entry after the last one of a list, zeroed. `last` is null for an empty list, and the new
// entry then.
PLAYLIST_REC &AddEntry(varn::OwnedSongs &list, PLAYLIST_REC *&last);

// The name of a song in playlists: its path, of a track of a cue sheet with "_" and its number.
std::string NameInPlaylist(const VARN_MEDIA_INFO &song);

// The records of songs by their paths or virtual names in the library that a user browses, read in
// one statement; none for a file that is browsed as its tracks. Throws a Failure.
std::map<std::string, VARN_MEDIA_INFO> ReadNamedSongs(uid_t uid,
                                                      const std::vector<std::string> &names);

// Those of some paths and virtual names that are songs of the library: anybody's, tracks of split
// files and the files. Throws a Failure.
std::set<std::string> NamesInLibrary(const std::vector<std::string> &names);

bool IsHttpUrl(const std::string &text);

// True for an http or https address of at most 2000 bytes that may stand in a playlist: UTF-8
// without blanks, quotes, angle brackets and control characters.
bool IsStreamUrl(const std::string &text);

// The records of songs that are named by their ids, paths, virtual names or URLs, in this order; of
// a file that the library does not know, just the path. Throws a Failure when one of them is none
// of these.
varn::OwnedSongs FindSongs(uid_t uid, const std::vector<std::string> &names);

// The records of songs that are named by the identifiers of the web API, in this order: songs that
// the user may browse, streams and radio stations, and plain http and https addresses. Throws a
// Failure when one of them is none of these.
varn::OwnedSongs RecordsOfIds(uid_t uid, const std::vector<std::string> &ids);

}  // namespace tonvale_service
