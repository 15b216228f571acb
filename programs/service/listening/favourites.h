// Favourites of users: songs, albums and artists.
//
// A favourite song is a row of a song or of a cue sheet's track: it follows the row when its file
// is moved, edited or swapped, and goes with the row. Albums and artists are kept by their names.
// They stay while no song has these names, and are listed again with the next one that has. All go
// with the user.
//
// SongMarks (song_marks.h) tells the favourites among a list's songs. ListSongs and ListGroups
// list them by `sortBy` kByFavourite, in the order in which they were made favourites.
#pragma once

#include <sys/types.h>

#include <compare>
#include <map>
#include <string>
#include <vector>

#include "service/songs/songs.h"

namespace tonvale_service {

// An album as lists tell it: its name, and the album artist or "".
struct AlbumName {
    std::string name;
    std::string artist;
    auto operator<=>(const AlbumName &) const = default;
};

// Of songs, of albums and of artists, of one user.
inline constexpr int kMostFavourites = 10'000;

// Each of these adds favourites, or removes them. One that is a favourite already keeps its time,
// and removing one that is none is no failure. Adding throws a Failure, with nothing changed, for
// songs, an album or an artist that are not there for the user, for names that are not UTF-8 or
// empty, and beyond kMostFavourites. All throw one when the database cannot be written.
void SetFavouriteSongs(uid_t uid, const std::vector<int> &rows, bool isFavourite);
void SetFavouriteAlbum(uid_t uid, const AlbumName &album, bool isFavourite);
// The case of the name does not count.
void SetFavouriteArtist(uid_t uid, const std::string &artist, bool isFavourite);

// All favourite songs of a user that are there, the latest first. Throws a Failure.
std::vector<SongId> FavouriteSongs(uid_t uid);

// All favourites of a user with the time of each, in seconds since 1970, also those that the
// library does not have now. Each is one statement. Throws a Failure.
std::map<AlbumName, long long> FavouriteAlbums(uid_t uid);
// By FoldedName, because a list shows one of the ways in which an artist's name is written.
struct FavouriteArtist {
    std::string name;  // as it was given
    long long since;
};
std::map<std::string, FavouriteArtist> FavouriteArtists(uid_t uid);

// A name in which the case of ASCII letters does not count.
std::string FoldedName(std::string name);

}  // namespace tonvale_service
