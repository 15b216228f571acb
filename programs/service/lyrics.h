// The lyrics of songs.
#pragma once

#include <json/value.h>

#include <vector>

#include "lyrics_text.h"
#include "varn/mediaindex.h"

namespace tonvale_service {

// All lyrics of a song: of a file beside it with its name and .lrc, of its tags, those with times
// first, and of a file with its name and .txt. None for a track of a cue sheet: those of its file
// are another song's. The tags are read by a program without root's rights, which has 20 seconds. A
// file beside the song counts where everybody may read it, or its owner is the song's; texts longer
// than kMostLyricsBytes do not count. Throws a Failure where the song's file is not there, or lies
// where it may not (OpenSongFile).
std::vector<Lyrics> LyricsOf(const VARN_MEDIA_INFO &song);

// The same as the web API has it: of each "language", "timed" and "lines", objects with "text" and,
// where they have one, "start".
Json::Value LyricsObjects(const std::vector<Lyrics> &all);

}  // namespace tonvale_service
