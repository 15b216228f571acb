// Albums, artists and genres with all that a client shows of them. They are read once for each
// change of the library (kept_list.h), so that a page in any order is cut from memory.
#pragma once

#include <climits>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "service/listening/favourites.h"
#include "service/lists/kept_list.h"
#include "service/songs/song_facts.h"

namespace tonvale_service {

struct AlbumFacts {
    std::string name;  // "" for the songs without one
    std::string albumArtist;
    std::string artist;  // of all songs, "" where they have several
    std::string sortName;
    std::vector<std::string> genres;
    int year;  // 0 unless all songs agree
    int songs;
    long long seconds;
    long long added;  // its newest song, seconds since 1970
    SongId cover;     // a song whose cover is the album's

    // Some columns of a list, by their places in its records.
    enum Column { kName, kAlbumArtist, kArtist, kGenres = 4, kYear, kAdded = 8, kByArtist = 10 };
};

struct ArtistFacts {
    std::string name;  // "" for the songs without one
    std::string sortName;
    bool isListed;  // a song counts for it: as album artist, or as artist without an album artist
    int albums;
    SongId cover;

    enum Column { kName, kSortName, kIsListed };
};

struct GenreFacts {
    std::string name;
    int songs;
    int albums;

    enum Column { kName };
};

// All groups of one kind in a library, in the order of their sort names. One is read when it is
// asked for.
template <typename Facts>
class GroupList {
  public:
    // Of the request only library and user count. Throws a Failure.
    explicit GroupList(const ListRequest &request);

    std::size_t Count() const { return kept_ ? kept_->Count() : computed_.records.size(); }
    Facts operator[](std::size_t place) const;

    // One column of a group; the text is good as long as this object.
    std::string_view Text(std::size_t place, typename Facts::Column column) const;
    long long Number(std::size_t place, typename Facts::Column column) const;

    using Places = std::vector<std::size_t>;
    Places All() const;
    Places Where(const std::function<bool(std::size_t place)> &isWanted) const;
    // Those that have a number, by it; equal ones stay in their order.
    Places Sorted(const std::function<std::optional<long long>(std::size_t place)> &numberOf) const;
    // The groups at some of these places, from the first one on.
    std::vector<Facts> At(const Places &places, int first = 0, int most = INT_MAX) const;

    // When it was computed, seconds since 1970.
    long long Computed() const { return kept_ ? kept_->Computed() : computed_.computed; }

  private:
    std::string_view Record(std::size_t place) const;

    std::optional<KeptList> kept_;
    ListPart computed_;  // where it is not kept
};
using AlbumList = GroupList<AlbumFacts>;
using ArtistList = GroupList<ArtistFacts>;
using GenreList = GroupList<GenreFacts>;

// The places of those that are listed.
ArtistList::Places Listed(const ArtistList &artists);

// Albums with a song whose artist or album artist it is, in any case. This and what follows throw a
// Failure.
std::vector<AlbumFacts> AlbumsOfArtist(const ListRequest &request, const std::string &name);
// What the user has put on these albums, or on all: the average of the stars, all plays and the
// last one of their songs, and since when they are favourites. Albums with none of these are left
// out. It is one statement.
std::map<AlbumName, SongMarks> AlbumMarks(uid_t uid,
                                          const std::vector<AlbumFacts> *albums = nullptr);

}  // namespace tonvale_service
