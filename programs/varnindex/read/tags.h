// Reads one audio file.
#pragma once

#include "varnindex/observe/file_facts.h"
#include "varnindex/song.h"

namespace varnindex {

struct KeptCover;  // pictures.h

// Sends TagLib's own chatter about damaged tags nowhere. Once a process, before the first file.
void SilenceTagLib();

struct ReadResult {
    std::optional<Song> song;
    std::string problem;      // for a person: why there is no song
    std::string warning;      // for a person, where the song is there but not all of it
    std::string embeddedCue;  // the cue sheet in the tags; "" when there is none
};

enum class Pictures {
    kStore,  // in the extended-attribute folder of the file
    kCount,
};

// Reads tags and audio properties of a file with a music name (file_names.h). A damaged tag gives
// the song with what can be read. A file without tags gets its name as title and its folder's name
// as album. The facts are what the walk saw, and go into the song unchanged: a file that changes
// afterwards is read again. A file that cannot be read to its end, or that may not be the one that
// was seen, gives no song. Several threads may read different files.
ReadResult ReadSong(const FileFacts &file, Pictures pictures = Pictures::kCount,
                    KeptCover *kept = nullptr);

}  // namespace varnindex
