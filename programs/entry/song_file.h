// The files that the sound of songs is read from.
#pragma once

#include <string>

#include "varn/mediaindex.h"

namespace tonvale_entry {

// The real path of a song's file. A song may be a link, but not one that leads out of the music of
// its owner: the file lies in an indexed folder, or for the song of a personal library in its
// user's music; never in somebody else's. Throws a Refusal where that is not so, or there is no
// such file.
std::string RealSongFile(const VARN_MEDIA_INFO &song);

}  // namespace tonvale_entry
