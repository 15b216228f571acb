// The objects of songs, albums and artists, as the protocol names their members.
#pragma once

#include <json/value.h>

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "answer.h"
#include "ids.h"
#include "request.h"
#include "service/lists/group_facts.h"
#include "service/songs/song_facts.h"

namespace tonvale_subsonic {

// A folder of music that a user may choose: everybody's, and the user's own.
struct MusicFolder {
    int id;
    const char *kind;  // of library
    const char *name;
};
std::vector<MusicFolder> MusicFoldersOf(uid_t uid);

// The library that a request asks for: the music folder that musicFolderId names, and without one
// what the user browses. Throws a Fault for a folder that is not there, or not for this user.
tonvale_service::ListRequest LibraryOf(const Request &asked);

// All that the user may see. Whatever folder of music a list shows, an identifier stands for the
// whole library.
tonvale_service::ListRequest WholeLibrary(const Request &asked);

// A moment as ISO 8601 has it, in UTC.
std::string TimeText(long long secondsSince1970);

// "Child": a song.
Json::Value ChildOf(const tonvale_service::SongFacts &song);
Json::Value ChildrenOf(const std::vector<tonvale_service::SongFacts> &songs);

// Those of a choice, of the library that the request asks for. With the limit 0 there are none.
Json::Value SomeSongs(const Request &asked, const tonvale_service::SongChoice &choice);

// The songs of a list, in their order (tonvale_service::SongsOfIds).
Json::Value ChildrenOf(const Request &asked, const std::vector<tonvale_service::SongId> &songs);

// The song with an identifier. Throws a Fault when there is none for the user.
tonvale_service::SongFacts FindSong(const Request &asked, const std::string &id);

// Albums, each as "AlbumID3", or as the "Child" that clients take for a folder; and artists, as
// "ArtistID3". What the user has put on them is read in one statement.
enum class AlbumForm { kAlbum, kChild };
Json::Value AlbumsOf(const Request &asked, const std::vector<tonvale_service::AlbumFacts> &albums,
                     AlbumForm form = AlbumForm::kAlbum);
Json::Value ArtistsOf(const Request &asked,
                      const std::vector<tonvale_service::ArtistFacts> &artists);

// Artists one by one, for lists of all.
class ArtistWriter {
  public:
    explicit ArtistWriter(const Request &asked);

    Json::Value ObjectOf(const tonvale_service::ArtistFacts &artist) const;
    // As an entry of the list "artist".
    void Write(const tonvale_service::ArtistFacts &artist, AnswerWriter &answer) const;

  private:
    template <typename Set>
    void SetMembers(const tonvale_service::ArtistFacts &artist, const Set &set) const;

    std::map<std::string, tonvale_service::FavouriteArtist> favourites_;
};

// Numbers by the hashes of albums or artists; and where those that have one stand, by it.
using Numbers = std::unordered_map<std::uint64_t, long long>;
template <typename Facts>
typename tonvale_service::GroupList<Facts>::Places PlacesBy(
    const Numbers &numbers, const tonvale_service::GroupList<Facts> &all) {
    return all.Sorted([&](std::size_t place) {
        const auto number = numbers.find(HashAt(all, place));
        return number != numbers.end() ? std::optional(number->second) : std::nullopt;
    });
}

// The album and the artist with an identifier. They throw a Fault when there is none for the user.
tonvale_service::AlbumFacts FindAlbum(const Request &asked, const std::string &id);
tonvale_service::ArtistFacts FindArtist(const Request &asked, const std::string &id);

// Throws a Fault for identifiers of more than 200 albums and artists: each is looked for in the
// whole library.
void CheckFewGroups(const std::vector<std::string> &ids);

// The albums of an artist, and the songs of an album, in their order.
std::vector<tonvale_service::AlbumFacts> AlbumsBy(const Request &asked,
                                                  const tonvale_service::ArtistFacts &artist);
std::vector<tonvale_service::SongFacts> SongsOf(const Request &asked,
                                                const tonvale_service::AlbumFacts &album);

}  // namespace tonvale_subsonic
