// The files of songs, whatever stands on the way to them.
#pragma once

#include <sys/stat.h>

#include <string>

#include "varn/descriptor.h"
#include "varn/mediaindex.h"

namespace tonvale_service {

struct SongFile {
    std::string path;  // the real one
    varn::UniqueFd file;
    struct stat info;
};

// Opens the file of a song of a user's personal library, or of everybody's (owner 0), with root's
// rights. A song may be a link, but not one that leads out of the
// music of its owner: the file lies in an indexed folder, or for the song of a personal library in
// its user's music; never in somebody else's. What is looked at is the file that is open, so that a
// later replacement changes nothing. Throws a Failure where that is not so, or there is no such
// file.
SongFile OpenSongFile(uid_t owner, const std::string &path);
SongFile OpenSongFile(const VARN_MEDIA_INFO &song);

}  // namespace tonvale_service
