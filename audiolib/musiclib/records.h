// Rows of a query as lists of songs.
#pragma once

#include "support/handles.h"
#include "varn/mediaindex.h"

namespace Tonvale::musiclib {

using Records = std::unique_ptr<PLAYLIST_REC, support::Releaser<VARNPlaylistRecFree>>;

// A zeroed record; null, with a log line, when memory is short.
Records NewRecord();

// Puts a record in front of a list.
void Prepend(Records record, Records &list);

// The same list in the opposite order.
Records Reversed(Records list);

// Reads the rows to their end, in their order. The number of songs, or -1, with a log line, when
// memory is short; `out` is then null.
int ReadRecords(MEDIA_DB_HANDLE &rows, Records &out);

}  // namespace Tonvale::musiclib
