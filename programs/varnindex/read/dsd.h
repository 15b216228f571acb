// Files of one-bit audio (DSD), which TagLib does not read: DSF (Sony's DSF file format, version
// 1.01) and DSDIFF (Philips' DSDIFF 1.5). ffprobe does not read the tags of DSDIFF, because they
// stand after the sound.
#pragma once

#include <optional>

#include "varnindex/read/audio.h"
#include "varnindex/read/stream.h"

namespace varnindex {

// What the headers tell. A sample is a bit.
struct DsdFile {
    Audio audio;                // without a bit rate
    bool isCompressed = false;  // DST, of DSDIFF alone
    ByteRange sound;
    long tag = 0;  // where an ID3v2 tag begins; 0: none
};

// None where the headers are damaged.
std::optional<DsdFile> ReadDsf(BoundedStream &stream);
std::optional<DsdFile> ReadDsdiff(BoundedStream &stream);

}  // namespace varnindex
