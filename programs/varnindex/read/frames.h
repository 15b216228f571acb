// MPEG audio (ISO/IEC 11172-3 and 13818-3): in comes a file as TagLib has opened it, out go the
// length and the form of its sound. Most collections are nothing else, which is why this is not
// left to another program.
#pragma once

#include <taglib/mpegfile.h>

#include "varnindex/read/audio.h"
#include "varnindex/read/stream.h"

namespace varnindex {

// True where a frame begins that another one follows.
bool AreFramesAt(BoundedStream &stream, long position);

// What TagLib tells by a table in the first frame or by the bit rate. Where the table does not fit
// the sound, because the file was cut off or joined, and where the bit rate changes at one of three
// places, the frames are counted: that reads all of the file. `codec` becomes "mp1", "mp2" or
// "mp3". Zeros where there are no frames.
Audio ReadFrames(TagLib::MPEG::File &file, BoundedStream &stream, ByteRange sound,
                 std::string &codec);

}  // namespace varnindex
