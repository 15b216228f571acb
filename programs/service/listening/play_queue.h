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

#include "service/songs/songs.h"

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

// A place in a queue, and the client that tells it.
struct PlayPlace {
    int current = 0;         // an index
    long long position = 0;  // milliseconds
    std::string changedBy = {};
    // PlayQueue::changed of the queue that the caller has read or written last, 0 for none. When
    // the user's queue is another one by now, nothing is kept. Without it any queue is overwritten.
    std::optional<long long> seen = {};
};

// Keeps the songs with these rows (SongId::row) as the user's queue, and gives its `changed`. A
// queue may be empty. Throws a Failure, with the queue of before kept: for one that was changed
// meanwhile (Reason::kPlayQueueChanged), more than kMostQueued songs, an index that no song has, a
// negative position, a client's name that is not UTF-8, has control characters or more than
// kLongestChanger bytes, and when the database cannot be written.
long long SetPlayQueue(uid_t uid, const std::vector<int> &rows, const PlayPlace &place);

// Keeps the same songs, with this one as the current one: of several the one nearest to the index,
// which need not be exact, because songs may have gone. Fails as SetPlayQueue does; a queue without
// the song is one that was changed.
long long SetPlayPlace(uid_t uid, int row, const PlayPlace &place);

}  // namespace tonvale_service
