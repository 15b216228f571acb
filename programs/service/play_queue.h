// The queue that a user's clients share: one goes on where another has stopped.
//
// Its songs follow their rows when files are moved, edited or swapped. A song that is gone, or
// that the user may not see any more, is left out when the queue is read. The queue goes with the
// user.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "songs.h"

namespace tonvale_service {

inline constexpr std::size_t kMostQueued = 10'000;
inline constexpr std::size_t kLongestChanger = 200;  // bytes

struct PlayQueue {
    std::vector<SongId> songs;  // in order; one may come several times
    int current = 0;            // an index into songs; 0 without songs
    long long position = 0;     // in the current song, milliseconds
    long long changed = 0;      // milliseconds since 1970
    std::string changedBy;      // the client that changed it, in its own words
};

// The queue of a user; nothing before one was kept. When the current song is gone, the one after
// it is current, from its start. Throws a Failure.
std::optional<PlayQueue> PlayQueueOf(uid_t uid);

// What is to be kept.
struct NewPlayQueue {
    std::vector<int> rows = {};  // SongId::row, in order
    int current = 0;
    long long position = 0;
    std::string changedBy = {};
    // `changed` of the queue that this one takes the place of, 0 for none: when the user's queue is
    // another one meanwhile, nothing is kept. Without it any queue is overwritten.
    std::optional<long long> seen = {};
};

// Keeps a queue, in one statement, and gives its `changed`. A queue of no songs is kept like any
// other. Throws a Failure, with the queue of before kept: for a queue that was changed meanwhile,
// more than kMostQueued songs, a song that is not there for the user, an index that no song has, a
// negative position, a client's name that is not UTF-8 or longer than kLongestChanger bytes, and
// when the database cannot be written.
long long SetPlayQueue(uid_t uid, const NewPlayQueue &queue);

// Keeps the same songs with another current one and position, in the way of SetPlayQueue; `rows`
// is not looked at.
long long SetPlayPlace(uid_t uid, const NewPlayQueue &queue);

}  // namespace tonvale_service
