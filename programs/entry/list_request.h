// The parameters that the lists have in common.
#pragma once

#include "request.h"
#include "service/list.h"
#include "service/playlist_target.h"
#include "service/tracks.h"

namespace tonvale_entry {

inline constexpr int kMostEntries = 5000;

// offset and limit.
struct PageWanted {
    int offset;
    int limit;
};
PageWanted PageOf(const Request &request, int most = kMostEntries);

// library, the filters, sort_by, sort_direction, offset and limit. Throws a Refusal, or a Failure
// for a library that the user may not browse.
tonvale_service::ListRequest ListRequestOf(const Request &request);

// What writes the user's track objects, with what `additional` names in them.
tonvale_service::TrackWriter TrackWriterOf(const Request &request);

// The shared playlists, or the user's own.
tonvale_service::Collection CollectionOf(const Request &request, bool isPersonal);

}  // namespace tonvale_entry
