// The sizes in WAV (RIFF, RF64 of EBU Tech 3306) and AIFF files. Programs that record, or write to
// a pipe, do not go back to fill them in. In a file that was cut off they are too large. They are
// mended here, and not read by ffprobe, because fingerprints in libraries are made of them.
#pragma once

#include <cstdint>
#include <optional>

#include "varnindex/read/stream.h"

namespace varnindex {

enum class ChunkedKind { kWav, kAiff };

// Makes the stream show sizes that fit the file and that TagLib can read. Returns the bytes of sound
// if it changed a size, and for every RF64 file. Otherwise TagLib's own count is right, or there is
// no chunk of sound.
std::optional<std::int64_t> MendSizes(BoundedStream &stream, ChunkedKind kind);

}  // namespace varnindex
