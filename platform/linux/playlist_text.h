// What the formats of playlists share: words in Latin letters of either case, blanks around them.
#pragma once

#include <algorithm>
#include <string_view>

namespace varn::playlist {

inline constexpr std::string_view kBlanks = " \t";

// Whatever the locale: these words are part of the formats.
constexpr char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline bool EqualsIgnoringCase(std::string_view text, std::string_view lower) {
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                      [](char a, char b) { return Lower(a) == b; });
}

inline bool StartsWithIgnoringCase(std::string_view text, std::string_view lower) {
    return EqualsIgnoringCase(text.substr(0, lower.size()), lower);
}

inline std::string_view Trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

}  // namespace varn::playlist
