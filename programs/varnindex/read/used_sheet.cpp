#include "varnindex/read/used_sheet.h"

#include "varn/number.h"
#include "varn/sql.h"
#include "varnindex/read/names.h"
#include "varnindex/write/copy_rows.h"

namespace varnindex {
namespace {

constexpr const char kUsedSheet[] =
    "SELECT i.cue_sheet_path AS sheet, i.cue_sheet_path = f.path AS embedded FROM track f"
    " JOIN virtual_info_track i ON i.file_track = f.id WHERE f.id = @VARN:INT"
    " ORDER BY i.track LIMIT 1";

constexpr const char kTracks[] =
    "SELECT v.track, v.title, v.duration, v.agg_genre, v.comment, v.year, artist, composer, album,"
    " album_artist, audio_offset, cue_sheet_path"
    " FROM virtual_info_track i JOIN track v ON v.id = i.track"
    " JOIN album_track a ON a.track = v.id JOIN artist_track r ON r.track = v.id"
    " JOIN composer_track c ON c.track = v.id WHERE i.file_track = @VARN:INT ORDER BY v.track, "
    "v.id";

constexpr const char kNumbered[] =
    "SELECT FROM virtual_info_track i JOIN track v ON v.id = i.track"
    " WHERE i.file_track = @VARN:INT AND v.track = ANY ('{@VARN:NEVAR}') LIMIT 1";

bool IsTrack(const varn::Row &row, const VirtualSong &track) {
    const Song &song = track.song;
    const auto is = [&](const char *column, const std::string &text) {
        return text == row.Text(column);
    };
    return row.Number("track") == song.track && is("title", song.title) &&
           varn::LeadingNumber<float>(row.Text("duration")) == song.duration &&
           is("agg_genre", JoinGenres(song.genres)) && is("comment", song.comment) &&
           row.Number("year") == song.year && is("artist", song.artist) &&
           is("composer", song.composer) && is("album", song.album) &&
           is("album_artist", song.albumArtist) && row.Number("audio_offset") == track.offset &&
           is("cue_sheet_path", track.sheetPath);
}

UsedSheet ReadUsedSheet(Database &database, int id) {
    const Rows rows = database.Query(Made(varn::Sql(kUsedSheet, id)));
    return rows.Count() == 0 ? UsedSheet()
                             : UsedSheet{rows[0].Text("sheet"), *rows[0].Text("embedded") == 't'};
}

bool HasAnyTrack(Database &database, int id, const std::vector<int> &numbers) {
    return !numbers.empty() &&
           database.Query(Made(varn::Sql(kNumbered, id, IdList(numbers)))).Count() > 0;
}

}  // namespace

std::string UsedSheet::Name() const {
    return isEmbedded ? "" : path.substr(path.rfind('/') + 1);
}

std::string UsedSheet::Beside(const std::string &songPath) const {
    return isEmbedded ? songPath : songPath.substr(0, songPath.rfind('/') + 1) + Name();
}

UsedSheet UnusableSheet(Database &database, const ReadWork &read, int id) {
    const auto &sheets = read.work.sheets;
    const bool isTooShort = HasAnyTrack(database, id, read.behindEnd);
    if (!isTooShort && !read.isOwnSheetUnusable && !(sheets && sheets->HasUnusable())) {
        return {};
    }
    UsedSheet used = ReadUsedSheet(database, id);
    const bool isUnusable =
        isTooShort ||
        (used.isEmbedded ? read.isOwnSheetUnusable : sheets && sheets->IsUnusable(used.Name()));
    return isUnusable ? used : UsedSheet();
}

bool HasTracks(Database &database, int id, const std::vector<VirtualSong> &tracks) {
    const Rows rows = database.Query(Made(varn::Sql(kTracks, id)));
    if (rows.Count() != static_cast<int>(tracks.size())) {
        return false;
    }
    for (int row = 0; row < rows.Count(); ++row) {
        if (!IsTrack(rows[row], tracks[static_cast<std::size_t>(row)])) {
            return false;
        }
    }
    return true;
}

}  // namespace varnindex
