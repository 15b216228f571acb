// Where the sound in Matroska (RFC 9559) begins, by which such a file is known again. All else is
// read by ffprobe, which does not tell this.
#pragma once

#include "varnindex/read/stream.h"

namespace varnindex {

// 0 where there is none.
long FirstCluster(BoundedStream &stream);

}  // namespace varnindex
