// What an audio file is known by when it was moved or renamed.
#pragma once

#include <taglib/tfile.h>

#include <cstdint>

#include "stream.h"

namespace varnindex {

// A hash of the length of the audio data and of some blocks of it. The tags are left out where
// TagLib tells where the audio begins and ends. `stream` is what `file` was opened on.
std::int64_t Fingerprint(TagLib::File &file, BoundedStream &stream);

}  // namespace varnindex
