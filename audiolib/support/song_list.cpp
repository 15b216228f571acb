#include "support/song_list.h"

#include <unistd.h>

#include <cstdlib>
#include <new>

#include "support/log.h"

namespace Tonvale::support {

varn::OwnedSongs NewSong(const char *source) {
    varn::OwnedSongs entry(static_cast<PLAYLIST_REC *>(std::calloc(1, sizeof(PLAYLIST_REC))));
    if (!entry) {
        LOG_ERROR(source, "Failed to alloc %zd", sizeof(PLAYLIST_REC));
        throw std::bad_alloc();
    }
    return entry;
}

bool SongsFitMemory(const char *source, std::int64_t count) {
    const std::int64_t wanted = count * static_cast<std::int64_t>(sizeof(PLAYLIST_REC));
    const std::int64_t memory =
        std::int64_t{sysconf(_SC_PHYS_PAGES)} * std::int64_t{sysconf(_SC_PAGESIZE)};
    if (wanted > memory / 2) {
        LOG_ERROR(source, "Failed to alloc %zd", static_cast<ssize_t>(wanted));
        return false;
    }
    return true;
}

PLAYLIST_REC &SongList::Append() {
    varn::OwnedSongs entry = NewSong(source_);
    PLAYLIST_REC *const added = entry.release();
    if (last_ != nullptr) {
        last_->next = added;
    } else {
        head_.reset(added);
    }
    last_ = added;
    ++size_;
    return *added;
}

}  // namespace Tonvale::support
