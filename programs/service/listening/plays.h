// What users have played.
//
// A play belongs to one user and one row of a song or of a cue sheet's track. It follows the row
// when its file is moved, edited or swapped, and goes with the row and with the user. SongMarks
// (song_marks.h) tells the plays of a list's songs. ListSongs and ListGroups list songs, albums
// and artists that were played, by `sortBy` kByPlays and kByLastPlay.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "service/songs/songs.h"

namespace tonvale_service {

inline constexpr std::size_t kMostPlaysAtOnce = 1000;

struct Play {
    int row;             // SongId::row
    long long when = 0;  // seconds since 1970; 0, and a time to come: now
};

// Notes plays in one statement. A song that comes several times counts as often; one that is not
// there for the user is left out: of many, which a client has kept for later, some may be gone.
// Throws a Failure, with nothing noted, when none is there, for more than kMostPlaysAtOnce plays,
// and when the database cannot be written.
void NotePlays(uid_t uid, const std::vector<Play> &plays);

// What one of a user's clients plays.
struct Playing {
    std::string client;
    SongId song;
    long long since;  // seconds since 1970
};

inline constexpr std::size_t kLongestClient = 200;  // bytes

// Notes that a client has begun to play a song, in place of the one before. Throws a Failure for a
// song that is not there for the user, and for a client's name that is not UTF-8 or has control
// characters or more than kLongestClient bytes.
void NotePlaying(uid_t uid, int row, const std::string &client);

// What the user's clients began to play within the last `seconds`, the latest first. What others
// play is their own business. Throws a Failure.
std::vector<Playing> PlayingNow(uid_t uid, int seconds);

}  // namespace tonvale_service
