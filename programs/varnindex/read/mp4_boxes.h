// What TagLib leaves out of MP4 files (ISO/IEC 14496-12): sound other than AAC and ALAC, the length
// of fragmented files, and tags by keys.
#pragma once

#include <taglib/xiphcomment.h>

#include <memory>
#include <string>

#include "varnindex/read/audio.h"
#include "varnindex/read/stream.h"

namespace varnindex {

struct Mp4Sound {
    std::string codec;  // "" for one that is not known
    Audio audio;        // without a bit rate; the length where the file is fragmented alone
};

// The first track of sound.
Mp4Sound ReadMp4Sound(BoundedStream &stream);

// The tags by keys ("mdta"); null when there are none.
std::unique_ptr<TagLib::Ogg::XiphComment> ReadMp4Keys(BoundedStream &stream);

}  // namespace varnindex
