// Files of one-bit audio (DSD), which TagLib does not read: in comes a file, out go the form of its
// sound and the places of its sound and tag. They are DSF (Sony's DSF file format, version 1.01)
// and DSDIFF (Philips' DSDIFF 1.5). ffprobe does not read the tags of DSDIFF, because they stand
// after the sound.
#pragma once

#include "varnindex/read/audio.h"
#include "varnindex/read/stream.h"

namespace varnindex {

// What the headers tell. A sample is a bit.
struct DsdFile {
    Audio audio;                // without a bit rate; a rate or channels of 0: damaged
    bool isCompressed = false;  // DST, of DSDIFF alone
    ByteRange sound;
    long tag = 0;  // where an ID3v2 tag begins; 0: none
};

DsdFile ReadDsf(BoundedStream &stream);
DsdFile ReadDsdiff(BoundedStream &stream);

}  // namespace varnindex
