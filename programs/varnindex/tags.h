// Reads one audio file.
#pragma once

#include <optional>
#include <string>

#include "song.h"

namespace varnindex {

// Sends TagLib's own chatter about damaged tags nowhere. Once a process, before the first file.
void SilenceTagLib();

struct ReadResult {
    std::optional<Song> song;
    std::string problem;  // for a person, when there is no song
};

// Reads tags and audio properties of a file with a music name (format.h). A damaged tag gives the
// song with what can be read; a file without tags gets its name as title and its folder's name as
// album. `size` and `modified` are what the walk saw and go into the song as they are.
ReadResult ReadSong(const std::string &path, std::int64_t size, std::int64_t modified);

}  // namespace varnindex
