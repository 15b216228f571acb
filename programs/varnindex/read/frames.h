// Sound in frames without a table of them: MPEG audio (ISO/IEC 11172-3 and 13818-3) and AAC in the
// transport stream ADTS (ISO/IEC 13818-7, 6.2). ffprobe guesses the length of such files from the
// bit rate at their beginning.
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
using FrameAt = std::optional<Frame> (*)(BoundedStream &stream, long position);
std::optional<Frame> MpegFrameAt(BoundedStream &stream, long position);
std::optional<Frame> AdtsFrameAt(BoundedStream &stream, long position);

// True where a frame begins that another one follows.
bool AreFramesAt(BoundedStream &stream, long position, FrameAt frameAt);

// Counts the frames of a range, past tags and some MiB of junk between them: reads all of the file.
// Zeros where there are none.
Audio CountFrames(BoundedStream &stream, ByteRange range, FrameAt frameAt);

// Where the last frame of MPEG audio ends, before some junk; the end of the range where there is
// more of it.
long EndOfLastFrame(BoundedStream &stream, ByteRange range);

// False where the bit rate of MPEG audio changes within the first frames at the start, at one third
// and at two thirds of the range, or where no frame is found at one of them. A change elsewhere is
// not seen.
bool HasOneBitRate(BoundedStream &stream, ByteRange range);

}  // namespace varnindex
