// Songs of the library, as far as a user may see them.
#pragma once

#include <string>

#include "request.h"
#include "service/list.h"
#include "service/tracks.h"

namespace tonvale_entry {

using tonvale_service::Handle;
using tonvale_service::kSongColumns;

// The rows, none or one, of the song with an identifier. Throws a Refusal for a text that is no
// identifier of a song of the library; the song of another user's library has no row.
Handle RowOfSong(const Request &request, const std::string &id, const std::string &columns);

}  // namespace tonvale_entry
