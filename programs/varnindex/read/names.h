// Text as it goes into the library: always valid UTF-8, on one line, bounded, in an order a person
// expects.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace varnindex {

// The bounds of the library's columns: characters of a name, bytes of a comment.
inline constexpr std::size_t kMaxCharacters = 255;
inline constexpr std::size_t kMaxCommentBytes = 4095;

// Makes a name or a comment out of foreign bytes: bytes that are not UTF-8 become U+FFFD, control
// characters (line breaks and NUL among them) blanks, both ends are trimmed, and what is too long
// is cut after a whole character.
std::string CleanName(std::string_view raw);
std::string CleanComment(std::string_view raw);

// What a clean name is sorted by: the name without a leading "The", "A" or "An", in any case, where
// something follows it.
std::string SortName(std::string_view name);

// Clean genres out of tagged values: split at semicolons, without empty ones, each once, in their
// order. A file with an absurd number of them keeps the first 64.
std::vector<std::string> CleanGenres(const std::vector<std::string> &values);

// The genres of a song as one name.
std::string JoinGenres(const std::vector<std::string> &genres);

// The number that a text ("3/12") begins with; 0 when there is none or it is out of range.
int LeadingNumber(std::string_view text);

// A path for a person to read: control characters and bytes that are not UTF-8 as \xNN.
std::string Printable(std::string_view path);

}  // namespace varnindex
