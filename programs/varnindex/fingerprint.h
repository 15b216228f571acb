// What an audio file is known by when it was moved or renamed.
#pragma once

#include <taglib/tfile.h>
#include <taglib/tiostream.h>

#include <cstdint>

namespace varnindex {

// A hash of the length of the audio data and of some blocks of it. The tags are left out where
// TagLib tells where the audio begins and ends.
std::int64_t Fingerprint(TagLib::File &file, TagLib::IOStream &stream);

}  // namespace varnindex
