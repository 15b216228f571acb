// Lists of songs, and their ratings.
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "service/lists/list.h"
#include "service/lists/tracks.h"
#include "varn/database.h"

namespace tonvale_service {

// What songs may be sorted by; the first one is by title.
const std::vector<std::string> &SongSortKeys();

// The keys of lists that hold only what a user has played, or made a favourite: songs, albums and
// artists. Such lists are read anew each time.
inline constexpr char kByPlays[] = "plays";
inline constexpr char kByLastPlay[] = "played";
inline constexpr char kByFavourite[] = "favourite";

// The first songs of the whole library by title come from an index, which is faster than computing
// the order. A page that ends after so many has the order computed and kept.
inline constexpr int kFirstSongs = 500;

// In place of a key: a sample of the whole library, drawn anew each time. It takes no filter and no
// offset, and a limit.
inline constexpr char kRandom[] = "random";

// A page of the songs that a request asks for; with `found`, of those for which this SQL is true.
// Throws a Failure.
std::unique_ptr<SongPage> ListSongs(const ListRequest &request, const TrackWriter &writer,
                                    const std::string &found = "");

// The rows of the page of songs that a request asks for. Throws a Failure.
std::vector<int> SongRows(const ListRequest &request);

// The page of a list of `total` songs that has these rows, in their order. Throws a Failure.
std::unique_ptr<SongPage> SongsInOrder(const ListRequest &request, const std::vector<int> &rows,
                                       int64_t total, const TrackWriter &writer);

// The same of a list that the library has in this version; null when it shows others by now, and
// for more than a thousand rows.
std::unique_ptr<SongPage> SongsOfVersion(const ListRequest &request, const std::vector<int> &rows,
                                         int64_t total, const Version &version,
                                         const TrackWriter &writer);

// The row of a song, and whether it is one track of a cue sheet.
struct SongId {
    int row;
    bool isVirtual;
    auto operator<=>(const SongId &) const = default;
};

// The song in a row of a statement that has id and is_virtual, 0 or 1.
SongId SongIn(const varn::Row &row);

// Its identifier, which also stands for a user's own song. With `isOwn` it has the form that the
// track object of an own song has.
std::string SongIdText(const SongId &song, bool isOwn = false);

// Empty for any text but the four forms of a song's identifier that have a row id.
std::optional<SongId> ParseSongId(std::string_view id);

// The identifiers that a name on a command line may stand for: the number that lists show is the
// row id of a file or of a track. Any other text stands for itself.
std::vector<std::string> SongIds(const std::string &name);

// Where songs are looked for: among all that a user may see, or in the library that the user
// browses, where a file that a cue sheet splits is its tracks alone.
enum class Among { kAll, kBrowsed };

// The records of the songs with these identifiers, as far as they are there for the user, read in
// one statement for files and one for tracks, among the browsed ones in one for both. Throws a
// Failure for a text that is no song's identifier.
std::map<SongId, VARN_MEDIA_INFO> ReadSongs(uid_t uid, const std::vector<std::string> &ids,
                                            Among among = Among::kAll);

// The record of one song. Throws a Failure also when it is not there.
VARN_MEDIA_INFO ReadSong(uid_t uid, const std::string &id, Among among = Among::kAll);

// The track objects of the songs with these identifiers, in their order. One that is not there, or
// is another user's, is left out. Throws a Failure for a text that is no song's identifier.
Json::Value SongsById(uid_t uid, const std::vector<std::string> &ids, const TrackWriter &writer);

// The rows of a kind that a condition lets through; with `wanted`, those of them. Throws a Failure
// for an empty condition without wanted rows, and for a wanted row that is not there.
std::set<int> RowsOf(const ListRequest &request, const std::set<int> &wanted);

// The rows of songs, each of which the user may browse. Throws a Failure.
std::set<int> RowsOf(uid_t uid, const std::vector<std::string> &ids);

// Rates songs for a user, 0 to 5 stars. The record beside a song is written where the way to it
// leads to the music of its owner; where it is not, the log tells. Records that others keep locked
// are waited for, 2 seconds altogether. Throws a Failure when the database cannot be written, with
// no song rated, and when songs left the library meanwhile. May leave the process as the package's
// account.
void RateSongs(uid_t uid, const std::set<int> &rows, unsigned stars);

}  // namespace tonvale_service
