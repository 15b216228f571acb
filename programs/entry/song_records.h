// Songs of the library, as far as a user may see them.
#pragma once

#include <memory>
#include <string>

#include "request.h"
#include "tonvale/library.h"

namespace tonvale_entry {

struct HandleCloser {
    void operator()(MEDIA_DB_HANDLE *handle) const noexcept { AudioInfoDBClose(handle); }
};
using Handle = std::unique_ptr<MEDIA_DB_HANDLE, HandleCloser>;

// What a record is read from.
inline constexpr char kSongColumns[] =
    "id, userid, path, title, artist, album, album_artist, composer, genre, year, track, disc, "
    "duration, bitrate, frequency, channel, filesize, container, codec, comment, is_virtual";

// The rows, none or one, of the song with an identifier. Throws a Refusal for a text that is no
// identifier of a song of the library; the song of another user's library has no row.
Handle RowOfSong(const Request &request, const std::string &id, const std::string &columns);

}  // namespace tonvale_entry
