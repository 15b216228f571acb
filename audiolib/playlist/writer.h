// Writing playlist files.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "varn/mediaindex.h"

namespace Tonvale::playlist {

// Hands out the records to write, one a call, and null at the end.
using NextRecord = std::function<const VARN_MEDIA_INFO *()>;

// Writes a playlist as root and leaves the process running as the package's account. 0, or -1 with
// a log line.
int WritePlaylist(const NextRecord &next, const std::string &path);

}  // namespace Tonvale::playlist
