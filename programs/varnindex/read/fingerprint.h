// What an audio file is known by when it was moved or renamed.
#pragma once

#include <cstdint>

#include "varnindex/read/open_audio.h"
#include "varnindex/read/stream.h"

namespace varnindex {

// A hash of the length of the sound and of some blocks of it. `stream` is what the file was opened
// on.
std::int64_t Fingerprint(const OpenedFile &opened, BoundedStream &stream);

}  // namespace varnindex
