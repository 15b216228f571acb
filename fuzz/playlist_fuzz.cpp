// Any bytes as a playlist, in each format: entries are clean and come in a bounded number.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "linux/playlist_format.h"
#include "linux/playlist_places.h"
#include "linux/utf8.h"
#include "require.h"

#ifndef PLAYLIST_FORMAT
#error "one program for each format"
#endif

namespace {

using namespace varn::playlist;

constexpr Format kFormat = Format::PLAYLIST_FORMAT;

constexpr bool IsM3u(Format format) {
    return format == Format::kM3u;
}

void CheckText(std::string_view text) {
    Require(varn::IsUtf8(text), "a text is UTF-8");
    Require(text.find_first_of(std::string_view("\r\n\0", 3)) == text.npos, "a text is one line");
}

void CheckTags(const Tags &tags) {
    for (const std::string_view text : {tags.title, tags.artist, tags.album, tags.genre}) {
        CheckText(text);
    }
    Require(std::min({tags.duration, tags.year, tags.disc, tags.track}) >= 0,
            "no number is negative");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    Files files;
    Places places("/nonexistent/lists", {"/nonexistent"}, files);
    std::size_t entries = 0;
    const Sink check = [&](const Entry &entry) {
        ++entries;
        Require(!entry.text.empty(), "an entry is not empty");
        CheckText(entry.text);
        CheckText(entry.otherwise);
        CheckTags(entry.tags);
        Require(!entry.mayBeComment ||
                    (IsM3u(kFormat) && entry.text[entry.text.find_first_not_of(" \t\v\f")] == '#'),
                "only lines of an m3u can be comments");
        for (const std::string_view text : {entry.text, entry.otherwise}) {
            const std::string path = places.Resolve(text);
            Require(path.find("/../") == path.npos || path.find("://") != path.npos,
                    "a path has no step up");
        }
    };
    try {
        ParseEntries(kFormat, bytes, check);
    } catch (const NoPlaylist &) {
        return 0;
    }
    Require(entries <= size, "no more entries than bytes");
    return 0;
}
