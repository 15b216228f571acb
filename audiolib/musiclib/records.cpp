#include "musiclib/records.h"

#include <cstdlib>
#include <utility>

#include "musiclib/source.h"
#include "support/log.h"
#include "tonvale/playlists.h"

namespace Tonvale::musiclib {

Records NewRecord() {
    // From calloc, because the list is the caller's to free.
    Records record(static_cast<PLAYLIST_REC *>(std::calloc(1, sizeof(PLAYLIST_REC))));
    if (!record) {
        LOG_ERROR(kSource, "Failed to alloc %zd", static_cast<ssize_t>(sizeof(PLAYLIST_REC)));
    }
    return record;
}

void Prepend(Records record, Records &list) {
    record->next = list.release();
    list = std::move(record);
}

Records Reversed(Records list) {
    return Records(PlaylistRecReverse(list.release()));
}

int ReadRecords(MEDIA_DB_HANDLE &rows, Records &out) {
    out.reset();
    Records backwards;
    int count = 0;
    for (; rows.cursor < rows.rowCount; ++count) {
        Records record = NewRecord();
        if (!record || MediaInfoDBGet(&rows, &record->info) != 0) {
            return -1;
        }
        Prepend(std::move(record), backwards);
    }
    out = Reversed(std::move(backwards));
    return count;
}

}  // namespace Tonvale::musiclib
