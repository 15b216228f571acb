// UTF-8, and text files that do not tell their encoding.
#pragma once

#include <string>
#include <string_view>

#include "varn/export.h"

namespace varn {

// True for well-formed UTF-8 (RFC 3629): no overlong forms, no surrogates, nothing above U+10FFFF.
VARN_EXPORT bool IsUtf8(std::string_view text);

// The text of a file (a cue sheet, a playlist) as UTF-8 with "\n" at the end of its lines, whether
// these ended with CR LF, LF or CR. A byte order mark decides (UTF-8, UTF-16 LE or BE) and is not
// part of the text; without one, bytes that are UTF-8 are taken as such, and a text whose first two
// characters have NULs between them as UTF-16. Everything else is read in the Windows code page
// that gives the most plausible text. Always gives valid UTF-8: what cannot be read becomes U+FFFD.
// Throws std::bad_alloc alone.
VARN_EXPORT std::string ToUtf8(std::string_view bytes);

}  // namespace varn
