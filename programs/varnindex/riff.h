// The sizes in WAV (RIFF, RF64 of EBU Tech 3306) and AIFF files. Programs that record, or write to
// a pipe, do not go back to fill them in. In a file that was cut off they are too large.
#pragma once

#include <cstdint>
#include <optional>

#include "stream.h"

namespace varnindex {

enum class ChunkedKind { kWav, kAiff };

// Has the stream show sizes that the file has room for, so that TagLib finds what is in it. Returns
// the bytes of sound where those in the file were no use; none where they were fine.
std::optional<std::int64_t> MendSizes(BoundedStream &stream, ChunkedKind kind);

}  // namespace varnindex
