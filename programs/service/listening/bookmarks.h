// Bookmarks: places in songs to which users come back.
//
// A user has one in a song, or in a cue sheet's track. It follows the song's row when its file is
// moved, edited or swapped, and goes with the row and with the user.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "service/songs/songs.h"

namespace tonvale_service {

inline constexpr int kMostBookmarks = 1000;           // of a user
inline constexpr std::size_t kLongestComment = 4000;  // bytes

struct Bookmark {
    SongId song;
    long long position;  // milliseconds from the start
    std::string comment;
    long long made;     // seconds since 1970
    long long changed;  // the same
};

// The bookmarks of a user in songs that are there, the one that was changed last first. Throws a
// Failure.
std::vector<Bookmark> BookmarksOf(uid_t uid);

// Makes the bookmark in a song, or moves it. Throws a Failure, with nothing changed, for a song
// that is not there for the user, a negative position, a comment that is not UTF-8 or too long,
// one more than kMostBookmarks, and when the database cannot be written.
void SetBookmark(uid_t uid, int row, long long position, const std::string &comment);

// Takes a user's bookmark away; a Failure when there is none.
void RemoveBookmark(uid_t uid, int row);

}  // namespace tonvale_service
