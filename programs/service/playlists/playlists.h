// Playlists of all kinds by their identifiers: lists of them, and of their tracks.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "service/base/page.h"
#include "service/lists/tracks.h"
#include "service/playlists/playlist_target.h"
#include "tonvale/webapi.h"

namespace tonvale_service {

// One playlist, normal or smart.
struct AnyPlaylist {
    std::string id;
    Collection collection;
    bool isSmart = false;
    Playlist normal;   // of a normal one
    std::string name;  // as it is shown
};

// The file of a collection's smart playlists.
std::string SmartPlaylistFile(const Collection &collection);

// A normal playlist as one of any kind.
AnyPlaylist AsAny(const Collection &collection, const Playlist &playlist);

// True for a text that has the form of an identifier.
bool IsPlaylistId(const std::string &text);

// The playlist with an identifier, of those that the user has and of the shared ones. Throws a
// Failure.
AnyPlaylist FindById(const std::string &user, uid_t uid, const std::string &id);

// What is told of a playlist: id, name, library (shared or personal), type (normal or smart), and
// of a normal one its path from the share on.
Json::Value ObjectOf(const AnyPlaylist &playlist);

// A part of a list of playlists: the normal or the smart ones of a collection.
struct PlaylistSection {
    Collection collection;
    bool isSmart = false;
    std::vector<std::string> names;  // of the smart ones
    int count = 0;
};

// A page of playlists, "playlists": of each collection the normal ones, then the smart ones.
class PlaylistPage : public Page {
  public:
    PlaylistPage(std::vector<PlaylistSection> sections, int offset, int64_t end, int64_t total);

    Json::Value Next() override;
    // The same as playlists.
    std::vector<AnyPlaylist> Some();

  private:
    std::vector<PlaylistSection> sections_;
    int64_t place_;
    int64_t end_;
};

// limit 0: all. Throws a Failure.
std::unique_ptr<PlaylistPage> ListPlaylists(const std::vector<Collection> &collections, int offset,
                                            int limit);

// How many tracks of a playlist are read at once after so many, a small share of the memory.
int64_t TracksAtATime(int64_t read);

// A page of a playlist's tracks, "songs", a few of which are held at a time. With limit 0 all.
class PlaylistTracks : public Page {
  public:
    PlaylistTracks(const AnyPlaylist &playlist,
                   const Tonvale::webapi::playlist::PlaylistLibrary &library, int offset,
                   int64_t end, int64_t total, Json::Value first);

    Json::Value Next() override;

    MarksWanted marks = {};

  private:
    AnyPlaylist playlist_;
    Tonvale::webapi::playlist::PlaylistLibrary library_;
    int64_t place_;
    int64_t end_;
    Json::Value next_;
};

// Throws a Failure.
std::unique_ptr<PlaylistTracks> ListTracks(
    AnyPlaylist playlist, const Tonvale::webapi::playlist::PlaylistLibrary &library, int offset,
    int limit);

}  // namespace tonvale_service
