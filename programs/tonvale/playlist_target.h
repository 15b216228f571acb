// The playlists that the command line works on.
#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>

#include "tonvale/playlists.h"

namespace tonvale_cli {

struct SongsFreer {
    void operator()(PLAYLIST_REC *list) const noexcept { VARNPlaylistRecFree(list); }
};
using SongRecords = std::unique_ptr<PLAYLIST_REC, SongsFreer>;

struct PlaylistsFreer {
    void operator()(VARN_PLAYLIST *list) const noexcept { VARNPlayListFree(list); }
};
using PlaylistRecords = std::unique_ptr<VARN_PLAYLIST, PlaylistsFreer>;

// Whose playlists, and which of them.
struct Collection {
    std::string user = "admin";
    bool personal = false;
    uid_t uid = 0;
    // The user's own are files of a folder beside the preferences, and no rows of the library: that
    // is so for a user without a personal library.
    bool isFolder = false;

    const char *Library() const { return personal ? "personal" : "shared"; }
};

struct Playlist {
    std::string id;  // row id in decimal; "0" for a file that has none
    std::string title;
    std::string path;
    std::string album;
};

// Finds out whose collection is meant and makes the database ready. 0, or the exit status, with a
// message.
int Prepare(Collection &collection);

// A page of the collection; limit 0 means all. Empty, with a message, when it cannot be listed.
std::optional<PlaylistRecords> ListPlaylists(const Collection &collection, int offset, int limit);

// The playlist with an id or a title. Empty, with a message, when there is none, or several.
std::optional<Playlist> FindPlaylist(const Collection &collection, const std::string &name);

// Where a new playlist of that name belongs; its folder is made. Empty, with a message, for a name
// that no file can have, one that is taken, or a folder that cannot be made.
std::optional<std::string> PlaceForPlaylist(const Collection &collection, const std::string &name,
                                            const std::string &format);

// False, with a message, for a name that no playlist can have.
bool IsGoodName(const std::string &name);

}  // namespace tonvale_cli
