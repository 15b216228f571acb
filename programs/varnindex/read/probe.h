// Asks ffprobe about a file that TagLib does not read, or not completely. Such files are rare: each
// answer takes a process, for some 60 ms.
#pragma once

#include <taglib/xiphcomment.h>

#include <vector>

#include "varnindex/read/audio.h"
#include "varnindex/read/stream.h"

namespace varnindex {

struct Probed {
    Audio audio;        // of the first track of sound, without a bit rate
    std::string codec;  // as the library names codecs; "": there is no sound
    std::unique_ptr<TagLib::Ogg::XiphComment> tags;  // under TagLib's common names
};

enum class Cover { kLeave, kTake };

// `format` is ffmpeg's name for it. With `kTake` the tags have the cover. Throws std::exception
// where ffprobe cannot be run.
Probed Probe(const BoundedStream &stream, const char *format, Cover cover = Cover::kLeave);

}  // namespace varnindex
