// The share links of one user.
#pragma once

#include <json/value.h>
#include <sys/types.h>

#include <string>
#include <vector>

#include "service/playlists/named_playlist.h"
#include "service/sharing/days.h"
#include "tonvale/sharing.h"
#include "varn/database.h"

namespace tonvale_service {

// Names a link by its own identifier, or by that of its playlist; the other one is "".
struct LinkName {
    std::string id;
    std::string playlistId;
};

// Objects that are answered are those of the library (SharingManager::ConvertSharingInfoObj) with
// three members more: "playlist_id", by what the playlist is called at the moment, "name", and
// "made", in seconds since 1970.
// Each call throws a Failure; one user's links are not there for another. Calls leave the process
// as the package's account, where it may switch.
class Links {
  public:
    // Throws a Failure for a user without the right to share.
    Links(uid_t uid, std::string user);

    // "offset", "total" and a page of "sharings", in the order of their identifiers.
    Json::Value Page(int offset, int limit);
    Json::Value Get(const LinkName &name);
    // A new link for a playlist that has none of this user's yet.
    Json::Value Create(const std::string &playlistId, const Days &days);
    Json::Value Update(const LinkName &name, const Days &days);
    void Delete(const LinkName &name);

    // Puts a song on the list of single shared songs, or takes it off: the list's link, and with
    // "song_url" where the song alone is found.
    // GetSong is a Failure for a song that is not on it.
    Json::Value GetSong(const std::string &songId);
    Json::Value ShareSong(const std::string &songId);
    Json::Value UnshareSong(const std::string &songId);

  private:
    struct Row {
        std::string id;
        std::string storedPlaylistId;  // in the table
        std::string playlistId;        // the same playlist's now
        std::string path;
        std::string name;
        long long made;  // seconds since 1970
    };
    varn::Rows Read(const std::string &statement);
    int Total();
    std::vector<Row> Rows(const std::string &statement);
    std::vector<Row> RowsWith(const std::string &condition);
    Row Find(const LinkName &name);
    std::vector<Row> OfPlaylist(const NamedPlaylist &playlist);
    // Links of other files that are stored under this playlist's number, which was theirs before
    // the library was indexed anew.
    void MoveOthersAway(const std::string &playlistId, const std::string &path);
    // The row for an operation that names it by its playlist.
    Tonvale::SharingData Keyed(const Row &row);
    Json::Value Shown(const Row &row);
    // Of two who look for a link and make it where there is none, one waits for the other.
    class Turn;
    LinkName Add(const std::string &playlistId, const Days &days);
    LinkName Change(const LinkName &name, const Days &days);
    void PrepareSongsList(bool hasLink);
    void PrepareSharedSongs();
    void ChangeSharedSongs(bool add, const std::string &songId, const std::string &song);
    Json::Value ShownWith(const std::string &song);
    Json::Value ChangeSong(bool add, const std::string &songId);
    std::string NewId();

    uid_t uid_;
    std::string user_;
    Tonvale::SharingManager manager_;
};

}  // namespace tonvale_service
