// What the files of the catalogue share.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "tonvale/playlists.h"

namespace Tonvale::playlist {

inline constexpr char kShared[] = "shared";
inline constexpr char kPersonal[] = "personal";

// A user's own playlists, below the folder of the preferences.
inline constexpr char kOwnFolder[] = "/playlists";

// Puts a zeroed record in front of a list. Throws std::bad_alloc, with a log line, when memory is
// short; the list is then as it was.
VARN_PLAYLIST &Prepend(OwnedPlaylists &list);

// Copies a text into a field or buffer, cut where it does not fit.
void CopyText(std::string_view text, char *out, std::size_t size);

}  // namespace Tonvale::playlist
