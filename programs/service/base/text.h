// UTF-8 (RFC 3629), and texts within XML.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "varn/text.h"

namespace tonvale_service {

// The length of the character at the start of a text that is not empty, 0 when there is none.
std::size_t CharacterLength(std::string_view text);

// Valid UTF-8 in place of any bytes: U+FFFD stands for every byte that belongs to no character.
std::string ValidUtf8(std::string_view text);

using varn::IsUtf8;

// True for UTF-8 of at most `most` bytes without control characters: a name, in a line of its own.
bool IsLine(std::string_view text, std::size_t most);

// A text as it stands in XML and HTML, within an attribute or not.
std::string EscapedXml(std::string_view text);

// How many bytes of valid UTF-8 are left when it is cut between characters to `most` at most.
std::size_t CutLength(std::string_view text, std::size_t most);

// A hash of a text, 16 hexadecimal digits.
std::string HashOf(std::string_view text);

// Copies valid UTF-8 into a field, cut between characters where it does not fit.
template <std::size_t Size>
void CopyCut(std::string_view text, char (&out)[Size]) {
    const std::size_t length = CutLength(text, Size - 1);
    std::copy_n(text.begin(), length, out);
    out[length] = '\0';
}

}  // namespace tonvale_service
