// Opens audio files as what they hold: a name tells only that a file may be music.
#pragma once

#include <taglib/tfile.h>

#include "varnindex/read/audio.h"
#include "varnindex/read/more_tags.h"
#include "varnindex/read/stream.h"

namespace varnindex {

struct OpenedFile {
    std::unique_ptr<TagLib::File> file;
    std::string codec;  // in lower case; "" for one that is not known
    Audio audio;        // a sample rate of 0: no sound is found
    ByteRange sound;    // without the tags around it, as far as formats with such are known
    std::vector<TagLib::Tag *> tags = {};  // each kind that is the file's own; TagLib merges them
    Tags moreTags = {};  // what those do not tell may stand in these, the first one first
    std::string_view container = {};
    bool isMerged = true;       // the file may have tags of several kinds
    bool isByContents = false;  // and not by the name's extension alone
};

// Opens a file with a music name (file_names.h), which reads from the stream. Throws std::exception
// for one that would exhaust TagLib, and where ffprobe is needed and cannot be run.
OpenedFile OpenAudio(std::string_view name, BoundedStream &stream);

}  // namespace varnindex
