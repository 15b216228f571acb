#include "varnindex/write/copy_rows.h"

#include <cstdio>
#include <ctime>

#include "varnindex/copy_line.h"
#include "varnindex/read/names.h"

namespace varnindex {
namespace {

constexpr std::int64_t kSecond = 1'000'000;
}  // namespace

std::string Timestamp(std::int64_t microseconds) {
    const std::int64_t fraction = (microseconds % kSecond + kSecond) % kSecond;
    const auto time = static_cast<std::time_t>((microseconds - fraction) / kSecond);
    std::tm utc{};
    gmtime_r(&time, &utc);
    std::array<char, 64> text;
    const int length = std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d.%06d",
                                     utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour,
                                     utc.tm_min, utc.tm_sec, static_cast<int>(fraction));
    return {text.data(), static_cast<std::size_t>(length)};
}

std::string IdList(const std::vector<int> &ids) {
    std::string list;
    for (const int id : ids) {
        list += (list.empty() ? "" : ",") + std::to_string(id);
    }
    return list;
}

// A track is moved with its file, and never by itself: it has no fingerprint.
void AppendTrackRow(std::string &rows, int id, const Song &song, RowKind kind) {
    const std::string genres = JoinGenres(song.genres);
    const bool isTrack = kind == RowKind::kTrack;
    AppendLine(rows, id, song.path, song.title, song.titleSort, song.size, song.year,
               song.sampleRate, song.channels, song.bitRate, song.duration, song.comment,
               song.track, song.disc, song.container, song.codec, Timestamp(song.modified), genres,
               SortName(genres), song.userid, song.pictures, isTrack, kind == RowKind::kSplit,
               isTrack ? std::nullopt : std::optional(song.fingerprint),
               isTrack ? 0 : song.sheetStamp);
}

void AppendSideRows(SideRows &rows, int id, const Song &song) {
    AppendLine(rows[kAlbum], id, song.album, song.albumSort, song.albumArtist,
               song.albumArtistSort);
    AppendLine(rows[kArtist], id, song.artist, song.artistSort, !song.albumArtist.empty());
    AppendLine(rows[kComposer], id, song.composer, song.composerSort);
    if (song.genres.empty()) {
        AppendLine(rows[kGenre], id, "", "");
    }
    for (const std::string &name : song.genres) {
        AppendLine(rows[kGenre], id, name, SortName(name));
    }
    if (song.gain.IsTagged()) {
        AppendLine(rows[kReplayGain], id, song.gain.trackGain, song.gain.trackPeak,
                   song.gain.albumGain, song.gain.albumPeak);
    }
}

}  // namespace varnindex
