// UTF-8 (RFC 3629).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tonvale_answers {

// The length of the character at the start of a text that is not empty, 0 when there is none.
std::size_t CharacterLength(std::string_view text);

// Valid UTF-8 in place of any bytes: U+FFFD stands for every byte that belongs to no character.
std::string ValidUtf8(std::string_view text);

}  // namespace tonvale_answers
