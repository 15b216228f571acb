// The files of songs, opened with root's rights and without leaving the folders of music.
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
// rights. The file lies in an indexed folder, or for the song of a personal library in its user's
// music, never in that of another user. A song may be a link within these. The open file is what is
// checked, so that a later replacement changes nothing. Throws a Failure for a file that is not
// there or lies elsewhere.
SongFile OpenSongFile(uid_t owner, const std::string &path);
SongFile OpenSongFile(const VARN_MEDIA_INFO &song);

}  // namespace tonvale_service
