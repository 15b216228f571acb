// The pictures of songs, as an answer.
#pragma once

#include <string>

namespace tonvale_entry {

// Sends a song's cover, or the copy of it that fits in 480 by 480 pixels, as a whole CGI answer.
// Throws a Refusal when there is none. True when all of it went out.
bool SendCover(const char *song, bool isSmall, bool headerOnly);

}  // namespace tonvale_entry
