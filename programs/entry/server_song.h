// A song of another media server, to be played here.
#pragma once

#include <chrono>
#include <string>

#include "varn/mediaindex.h"

namespace tonvale_entry {

// The song `id` of the server at `url`: its address as `path`, its title, artist and album. The
// server is asked, so that no client chooses the address, which is on the server's own host. Throws
// a Refusal or a Failure, also for what has no sound.
VARN_MEDIA_INFO FindServerSong(const std::string &url, const std::string &id,
                               std::chrono::seconds patience);

}  // namespace tonvale_entry
