// Which playlists are worked on, and where they are.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

#include "tonvale/playlists.h"

namespace tonvale_service {

// Whose playlists, and which of them.
struct Collection {
    std::string user;
    bool personal = false;
    uid_t uid = 0;
    // The user's own are files of a folder beside the preferences, and no rows of the library: that
    // is so for a user without a personal library.
    bool isFolder = false;
    // The command line works for root itself, whom the mode of a file does not bound.
    bool isForRoot = false;

    const char *Library() const { return personal ? "personal" : "shared"; }
};

struct Playlist {
    std::string id;  // row id in decimal; "0" for a file that has none
    std::string title;
    std::string path;
    std::string album;
    // HeldPlaylist::State when it was read. If the list has another one by now, a change of its
    // entries is refused. "": it is changed in any state.
    std::string state = {};
};

// Completes a collection whose user and user id are known.
void Complete(Collection &collection);

// Each of the following throws a Failure for what it cannot do.

// How many playlists a collection has, and a page of them; limit 0 means all.
int CountPlaylists(const Collection &collection);
Tonvale::OwnedPlaylists ListPlaylists(const Collection &collection, int offset, int limit);

// The playlist with an id or a title; also when there are several it is a Failure.
Playlist FindPlaylist(const Collection &collection, const std::string &name);

// The playlist of an identifier's key: a row id, or the name of a file.
Playlist PlaylistOfKey(const Collection &collection, const std::string &key);

// The key of a playlist in identifiers.
std::string KeyOf(const Collection &collection, const Playlist &playlist);

inline constexpr std::size_t kLongestPlaylistName = 240;  // bytes, with room for an extension

// Throws a Failure for a name that no playlist can have.
void CheckName(const std::string &name);

}  // namespace tonvale_service
