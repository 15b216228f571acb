// The three formats of playlists, as text.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <system_error>

namespace varn::playlist {

enum class Format { kM3u, kM3u8, kPls, kWpl };

// The format of a file by the extension of its name; m3u8 is an m3u that is UTF-8.
std::optional<Format> FormatOf(std::string_view path);

// What a playlist tells about an entry; "" and 0 for what it does not.
struct Tags {
    std::string_view title;
    std::string_view artist;
    std::string_view album;
    std::string_view genre;
    int duration = 0;  // seconds
    int year = 0;
    int disc = 0;
    int track = 0;
};

struct Entry {
    std::string_view text;  // as it is written, XML entities decoded
    Tags tags;
    bool mayBeComment = false;  // a line of an m3u that begins with "#", blanks apart
    // What the entry says where no file has the name `text`; "" when there is but one reading.
    std::string_view otherwise = {};
};

// Takes the entries one after the other; their texts are valid during the call alone.
using Sink = std::function<void(const Entry &entry)>;

// A file of a few bytes an entry would fill the memory with paths.
inline constexpr std::size_t kMostEntries = 200'000;

// Eight for each entry: each line is converted from its code page by itself.
inline constexpr std::ptrdiff_t kMostLines = 8 * std::ptrdiff_t{kMostEntries};

// Bytes that are not read as a playlist; the code is what errno tells of them.
struct NoPlaylist : std::system_error {
    explicit NoPlaylist(int error) : std::system_error(error, std::generic_category()) {}
};

// Reads the entries of a playlist. Throws NoPlaylist: EFBIG beyond kMostLines or kMostEntries,
// EILSEQ for a text with a NUL. All other bytes are a playlist, if perhaps an empty one; no entry
// is empty or has a line break in it.
void ParseEntries(Format format, std::string_view bytes, const Sink &sink);

}  // namespace varn::playlist
