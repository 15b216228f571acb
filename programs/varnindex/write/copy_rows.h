// Songs as the text that COPY reads.
#pragma once

#include <array>

#include "varnindex/song.h"

namespace varnindex {

inline constexpr const char kTrackColumns[] =
    "id, path, title, title_sort, filesize, year, frequency, channel, bitrate, duration, comment,"
    " track, disc, container, codec, mdate, agg_genre, agg_genre_sort, userid, covercount,"
    " is_virtual, has_virtual, fingerprint, sheet_stamp";

// The side tables with a row of each song, and replay gain and genres with none or several.
enum Side { kAlbum, kArtist, kComposer, kGenre, kReplayGain, kSideCount };

inline constexpr std::array<const char *, kSideCount> kCopySide = {
    "COPY album_track (track, album, album_sort, album_artist, album_artist_sort) FROM STDIN",
    "COPY artist_track (track, artist, artist_sort, has_album_artist) FROM STDIN",
    "COPY composer_track (track, composer, composer_sort) FROM STDIN",
    "COPY genre_track (track, genre, genre_sort) FROM STDIN",
    "COPY replaygain_track (track, rg_track_gain, rg_track_peak, rg_album_gain, rg_album_peak)"
    " FROM STDIN"};

inline constexpr const char kCopyStars[] = "COPY rating_track (track, userid, star) FROM STDIN";

using SideRows = std::array<std::string, kSideCount>;

enum class RowKind {
    kWhole,  // a file
    kSplit,  // a file that a cue sheet makes tracks of
    kTrack,  // one of them
};

// Appends a song's row of the track table (kTrackColumns), and its rows of each side table.
void AppendTrackRow(std::string &rows, int id, const Song &song, RowKind kind);
void AppendSideRows(SideRows &rows, int id, const Song &song);

// A modification time as the database writes it.
std::string Timestamp(std::int64_t microseconds);

// Ids in decimal, with commas between them.
std::string IdList(const std::vector<int> &ids);

}  // namespace varnindex
