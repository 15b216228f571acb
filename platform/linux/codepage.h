// Which Windows code page a text was written in.
#pragma once

#include <string_view>

#include <unicode/unistr.h>

namespace varn {

// The text of `bytes` read in an encoding that ICU knows by this name, with U+FFFD for what means
// nothing in it; bogus when the machine's ICU does not know it.
icu::UnicodeString Decode(std::string_view bytes, const char *encoding);

// ICU's name of the page in which the bytes beyond ASCII look most like words of a language:
// Western or Central European, Cyrillic, Greek, Japanese, simplified or traditional Chinese,
// Korean. A single name is often all there is to go by. Where nothing speaks for another one, it
// is the Western page.
const char *LikelyCodePage(std::string_view bytes);

}  // namespace varn
