// MPEG audio (ISO/IEC 11172-3 and 13818-3), a sequence of frames without a table of them. Most
// collections are nothing else, which is why this is not left to another program.
#pragma once

#include <optional>

#include "varnindex/read/audio.h"
#include "varnindex/read/stream.h"

namespace varnindex {

struct Frame {
    long length = 0;  // bytes
    int samples = 0;
    int sampleRate = 0;
    int channels = 0;
    int bitRate = 0;  // bits per second
    int layer = 0;
};

// Reads the frame whose header stands at an offset of a file; none where there is no header.
std::optional<Frame> FrameAt(BoundedStream &stream, long position);

// True where a frame begins that another one follows.
bool AreFramesAt(BoundedStream &stream, long position);

// Counts the frames of a range, past tags and some MiB of junk between them: reads all of the file.
// Zeros where there are none.
Audio CountFrames(BoundedStream &stream, ByteRange range);

// Where the last frame ends, before some junk; the end of the range where there is
// more of it.
long EndOfLastFrame(BoundedStream &stream, ByteRange range);

// False where the bit rate changes within the first frames at the start, at one third
// and at two thirds of the range, or where no frame is found at one of them. A change elsewhere is
// not seen.
bool HasOneBitRate(BoundedStream &stream, ByteRange range);

}  // namespace varnindex
