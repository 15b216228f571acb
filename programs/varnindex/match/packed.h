// Read files as text, for the time in which they wait in a table.
#pragma once

#include <string>
#include <string_view>

#include "varnindex/read/readers.h"

namespace varnindex {

// The song and its tracks with all that is written of them, the warning, and the id of the path's
// row; not the cue sheets of the folder. The text is UTF-8.
std::string Pack(const ReadWork &read);
ReadWork Unpack(std::string_view text);

}  // namespace varnindex
