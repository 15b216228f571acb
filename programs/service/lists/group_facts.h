// Albums, artists and genres with all that a client shows of them. They are read once for each
// change of the library (kept_list.h), so that a page in any order is cut from memory.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "service/listening/favourites.h"
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
    int placeByArtist;
};

struct ArtistFacts {
    std::string name;  // "" for the songs without one
    std::string sortName;
    bool isListed;  // a song counts for it: as album artist, or as artist without an album artist
    int albums;
    SongId cover;
};

struct GenreFacts {
    std::string name;
    int songs;
    int albums;
};

// Of a request only library and user count. Each list is in the order of the sort names. They throw
// a Failure.
std::vector<AlbumFacts> AllAlbums(const ListRequest &request);
std::vector<ArtistFacts> AllArtists(const ListRequest &request);
// Those with the names that are wanted. For a few names this costs a fraction.
using IsWanted = std::function<bool(const char *name, const char *albumArtist)>;
std::vector<AlbumFacts> SomeAlbums(const ListRequest &request, const IsWanted &isWanted);
std::vector<ArtistFacts> SomeArtists(const ListRequest &request,
                                     const std::function<bool(const char *name)> &isWanted);
// Albums with a song whose artist or album artist it is, in any case.
std::vector<AlbumFacts> AlbumsOfArtist(const ListRequest &request, const std::string &name);
// What the user has put on albums: the average of the stars, all plays and the last one of their
// songs. Those without are left out.
std::map<AlbumName, SongMarks> AlbumMarks(uid_t uid);

// When the library was read last because something in it had changed, seconds since 1970.
long long LibraryRead(const ListRequest &request);
std::vector<GenreFacts> AllGenres(const ListRequest &request);

}  // namespace tonvale_service
