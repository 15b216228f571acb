// The files that the sound of songs is read from.
#pragma once

#include <sys/stat.h>

#include <string>

#include "varn/descriptor.h"
#include "varn/mediaindex.h"

namespace tonvale_entry {

struct SongFile {
    std::string path;  // the real one
    varn::UniqueFd file;
    struct stat info;
};

// Opens a song's file. A song may be a link, but not one that leads out of the music of its owner:
// the file lies in an indexed folder, or for the song of a personal library in its user's music;
// never in somebody else's. What is looked at is the file that is open, so that a later replacement
// changes nothing. Throws a Refusal where that is not so, or there is no such file.
SongFile OpenSongFile(uid_t owner, const std::string &path);
SongFile OpenSongFile(const VARN_MEDIA_INFO &song);

// Sends the file, or the part of it that a GET asks for (RFC 9110, 13 and 14). `fields` are more
// lines of the header.
bool SendFile(const SongFile &song, const char *type, bool headerOnly,
              const std::string &fields = "");

}  // namespace tonvale_entry
