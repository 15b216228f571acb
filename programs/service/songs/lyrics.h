// The lyrics of songs.
#pragma once

#include <json/value.h>

#include <vector>

#include "service/songs/lyrics_text.h"
#include "varn/mediaindex.h"

namespace tonvale_service {

// All lyrics of a song: from a file beside it with its name and .lrc, from its tags, those with
// times first, and from a file with its name and .txt. None for a track of a cue sheet, because
// the lyrics of its file belong to the whole file. A program without root's rights reads the tags,
// and has 20 seconds. A file beside the song counts if everybody may read it, or its owner is the
// song's; texts longer than kMostLyricsBytes do not count. Throws a Failure if the song's file is
// not there, or lies where it may not (OpenSongFile).
std::vector<Lyrics> LyricsOf(const VARN_MEDIA_INFO &song);

// The same for the web API: each has "language", "timed" and "lines", which are objects with "text"
// and, in timed lyrics, "start".
Json::Value LyricsObjects(const std::vector<Lyrics> &all);

}  // namespace tonvale_service
