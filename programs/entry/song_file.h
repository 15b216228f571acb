// The files that the sound of songs is read from, as answers.
#pragma once

#include "service/songs/song_file.h"

namespace tonvale_entry {

using tonvale_service::OpenSongFile;
using tonvale_service::SongFile;

// Sends the file, or the part of it that a GET asks for (RFC 9110, 13 and 14). `fields` are more
// lines of the header.
bool SendFile(const SongFile &song, const char *type, bool headerOnly,
              const std::string &fields = "");

}  // namespace tonvale_entry
