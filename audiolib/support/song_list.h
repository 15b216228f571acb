// A list of songs while it is being made.
#pragma once

#include <cstdint>

#include "varn/handles.h"

namespace Tonvale::support {

// A zeroed entry. Throws std::bad_alloc, with a log line under `source`, when memory is short.
varn::OwnedSongs NewSong(const char *source);

// False, with a log line under `source`, for a list whose records take more than half of the
// machine's memory: it would end in the process being killed instead of a message.
bool SongsFitMemory(const char *source, std::int64_t count);

// Owns its entries until they are released.
class SongList {
  public:
    explicit SongList(const char *source) : source_(source) {}

    // Adds a zeroed entry, or a copy of a record, at the end. The entry stays where it is.
    PLAYLIST_REC &Append();
    PLAYLIST_REC &Append(const VARN_MEDIA_INFO &song) {
        PLAYLIST_REC &entry = Append();
        entry.info = song;
        return entry;
    }

    int Size() const { return size_; }
    PLAYLIST_REC *Head() const { return head_.get(); }

    // The caller's from now on; null when there is none.
    PLAYLIST_REC *Release() {
        last_ = nullptr;
        size_ = 0;
        return head_.release();
    }
    // The same into *out; the number of songs.
    int Release(PLAYLIST_REC **out) {
        const int size = size_;
        *out = Release();
        return size;
    }

  private:
    const char *source_;
    varn::OwnedSongs head_;
    PLAYLIST_REC *last_ = nullptr;
    int size_ = 0;
};

}  // namespace Tonvale::support
