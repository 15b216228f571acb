// The wpl format: SMIL with a line of media elements.
#pragma once

#include <string_view>

#include "linux/playlist_format.h"

namespace varn::playlist {

// True for text, with "\n" at the end of its lines, that begins as this system's lists do.
bool IsOwnWpl(std::string_view text);

// Reads the sources of all media elements of UTF-8 text with "\n" at the end of its lines. Nothing
// has to be well-formed.
void ParseWpl(std::string_view text, const Sink &sink);

}  // namespace varn::playlist
