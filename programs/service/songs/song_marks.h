// What a user has put on songs: stars, plays and favourites, for whole lists of songs.
#pragma once

#include <sys/types.h>

#include <map>
#include <vector>

namespace tonvale_service {

struct SongMarks {
    int stars = 0;                 // 0 to 5
    int plays = 0;                 // 0: never played
    long long lastPlayed = 0;      // seconds since 1970
    long long favouriteSince = 0;  // seconds since 1970; 0: no favourite
};

// The marks of the songs with these rows (SongId::row, VARN_MEDIA_INFO::id), read in one
// statement. A song that has none is left out. Throws a Failure.
std::map<int, SongMarks> MarksOf(uid_t uid, const std::vector<int> &rows);

}  // namespace tonvale_service
