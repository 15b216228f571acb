// The text of key=value files: the one parser, and edits that keep what they do not mean.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varn::keytext {

struct Entry {
    std::string key;
    std::string value;
};

// The entry of one line (without its line feed); empty for a comment or a line without an entry.
// Every line has a meaning: a quote that is not closed ends with the line, and what follows a
// closing quote is passed over.
std::optional<Entry> ParseLine(std::string_view line);

// All entries in their order, repeated keys included.
std::vector<Entry> Parse(std::string_view text);

// The value of the first line of a key.
std::optional<std::string> Find(std::string_view text, std::string_view key);

// True for a key that a line can hold and give back: not empty, no "#" in front, no "=", line break
// or NUL anywhere, no blanks at its ends.
bool IsValidKey(std::string_view key);

// The text with the first line of a valid key replaced, or with a line appended.
std::string Set(std::string_view text, std::string_view key, std::string_view value);

// The text without any line of a key.
std::string Remove(std::string_view text, std::string_view key);

}  // namespace varn::keytext
