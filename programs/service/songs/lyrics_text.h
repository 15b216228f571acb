// Lyrics as a text: plain lines, or lines with their times (LRC).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tonvale_service {

// What is read of the lyrics of one song, in bytes and lines.
inline constexpr std::size_t kMostLyricsBytes = 256 << 10;
inline constexpr std::size_t kMostLyricsLines = 10'000;

inline constexpr char kUnknownLanguage[] = "und";  // ISO 639-2

struct LyricsLine {
    std::optional<int64_t> start = {};  // milliseconds from the start of the song
    std::string text;                   // UTF-8
};

struct Lyrics {
    std::string language = kUnknownLanguage;
    bool isTimed = false;  // each line has its start then, and they are in its order
    std::vector<LyricsLine> lines = {};
};

// Reads lyrics: with times where a line of the text has one. Lines without a time are left out
// there. `text` is UTF-8 with lines that end with "\n".
Lyrics ParseLyrics(std::string_view text);

}  // namespace tonvale_service
