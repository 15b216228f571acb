// Texts whose lines several programs wrote, each in an encoding of its own.
#pragma once

#include <string>
#include <string_view>

namespace varn {

// True for a text that ToUtf8 reads as UTF-16, by how it begins.
bool IsUtf16(std::string_view bytes);

// Like ToUtf8 (varn/text.h), but where nothing at the begin tells the encoding every line counts
// for itself: one that is UTF-8 stays as it is, whatever stands in the others. These are read in
// one code page, the most plausible one for all of them; with `onlyUtf8`, and in a line that is
// UTF-8 but for a damaged byte, U+FFFD stands for what is not UTF-8.
std::string LinesToUtf8(std::string_view bytes, bool onlyUtf8);

}  // namespace varn
