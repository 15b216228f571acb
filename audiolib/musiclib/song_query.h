// Songs out of a user's browse library, row by row.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "varn/base.h"
#include "varn/mediaindex.h"

namespace Tonvale::musiclib {

struct SongQuery {
    uid_t uid;
    const char *condition;
    const char *columns;
    bool actualOnly;    // files only
    PVLIBSZHASH *hash;  // gets ratings and replay gain; may be null
};

// Visits the records of all rows in turn. False, with a log line, when the query fails.
bool VisitSongs(const SongQuery &query, const std::function<void(const VARN_MEDIA_INFO &)> &visit);

}  // namespace Tonvale::musiclib
