// UTF-8 (RFC 3629) as the platform needs it.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include "varn/text.h"

namespace varn {

// The length of the longest prefix of at most `limit` bytes that does not end inside a character.
// In text that is not UTF-8 a run of stray continuation bytes counts as one character of up to
// four.
std::size_t BoundedLength(std::string_view text, std::size_t limit);

// Copies a text into a field, cut between characters where it does not fit. The text may be part of
// the field.
template <std::size_t Size>
void CopyCut(std::string_view text, char (&out)[Size]) {
    const std::size_t length = BoundedLength(text, Size - 1);
    if (length > 0) {
        std::memmove(out, text.data(), length);
    }
    out[length] = '\0';
}

}  // namespace varn
