// UTF-8 (RFC 3629) as the platform needs it.
#pragma once

#include <cstddef>
#include <string_view>

namespace varn {

// True for well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool IsUtf8(std::string_view text);

// The length of the longest prefix of at most `limit` bytes that does not end inside a character.
// In text that is not UTF-8 a run of stray continuation bytes counts as one character of up to
// four.
std::size_t BoundedLength(std::string_view text, std::size_t limit);

}  // namespace varn
