// How long a FLAC file is whose encoder could not go back to its beginning to tell.
#pragma once

#include <cstdint>

#include "varnindex/read/stream.h"

namespace varnindex {

// Samples of each channel up to the end of the last frame (RFC 9639, 9.1), which stands before
// `end`; `begin` is where "fLaC" stands. 0 where no frame is found.
std::int64_t SamplesToLastFrame(BoundedStream &stream, long begin, long end);

}  // namespace varnindex
