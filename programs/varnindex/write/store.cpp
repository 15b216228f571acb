#include "varnindex/write/store.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "varn/sql.h"
#include "varnindex/read/readers.h"
#include "varnindex/settle/outbox.h"

namespace varnindex {
namespace {

constexpr std::size_t kBatchRows = 1000;
constexpr std::size_t kBatchBytes = 4U << 20;

// The changed rows of a batch pass through this table, which each commit empties.
const std::string kCreateStaging =
    std::string("CREATE TEMP TABLE changed_track ON COMMIT DELETE ROWS AS SELECT ") +
    kTrackColumns + " FROM track WITH NO DATA";

constexpr const char *kUpdateTracks =
    "UPDATE track SET title = c.title, title_sort = c.title_sort, filesize = c.filesize,"
    " year = c.year, frequency = c.frequency, channel = c.channel, bitrate = c.bitrate,"
    " duration = c.duration, comment = c.comment, track = c.track, disc = c.disc,"
    " container = c.container, codec = c.codec, mdate = c.mdate, agg_genre = c.agg_genre,"
    " agg_genre_sort = c.agg_genre_sort, path = c.path, userid = c.userid,"
    " covercount = c.covercount, has_virtual = c.has_virtual, fingerprint = c.fingerprint,"
    " sheet_stamp = c.sheet_stamp FROM changed_track c WHERE track.id = c.id";

constexpr const char *kDeleteSides =
    "DELETE FROM album_track USING changed_track c WHERE album_track.track = c.id;"
    "DELETE FROM artist_track USING changed_track c WHERE artist_track.track = c.id;"
    "DELETE FROM composer_track USING changed_track c WHERE composer_track.track = c.id;"
    "DELETE FROM genre_track USING changed_track c WHERE genre_track.track = c.id;"
    "DELETE FROM replaygain_track USING changed_track c WHERE replaygain_track.track = c.id;"
    "DELETE FROM virtual_info_track USING changed_track c WHERE virtual_info_track.track = c.id";

constexpr const char *kCopyOffsets =
    "COPY virtual_info_track (track, file_track, audio_offset, cue_sheet_path) FROM STDIN";

constexpr const char kDeleteSongs[] =
    "DELETE FROM track WHERE id IN (SELECT unnest('{@VARN:NEVAR}'::integer[]) UNION ALL SELECT"
    " track FROM virtual_info_track WHERE file_track = ANY ('{@VARN:NEVAR}'))";
constexpr const char kKnownTracks[] =
    "SELECT i.file_track AS file, v.track AS number, v.id FROM virtual_info_track i"
    " JOIN track v ON v.id = i.track WHERE i.file_track = ANY ('{@VARN:NEVAR}') ORDER BY v.id";

constexpr const char *kRenewStatistics =
    "ANALYZE track, album_track, artist_track, composer_track, genre_track, replaygain_track,"
    " virtual_info_track, directory, personal_directory, playlist, personal_playlist, song_text,"
    " tag_text";

std::string CopyInto(const char *table) {
    return std::string("COPY ") + table + " (" + kTrackColumns + ") FROM STDIN";
}

}  // namespace

void Store::Write(int id, Song song, std::vector<VirtualSong> tracks) {
    bytes_ += TextBytes(song, tracks);
    Item &item = items_.emplace_back();
    item.id = id;
    item.song = std::move(song);
    for (VirtualSong &track : tracks) {
        track.song.userid = item.song.userid;
        item.tracks.push_back({std::move(track), 0});
    }
    FlushIfFull();
}

void Store::WriteWithItsTracks(int id, Song song, const std::string &sheetPath) {
    bytes_ += TextBytes(song) + sheetPath.size();
    items_.push_back({id, std::move(song), {}, sheetPath});
    FlushIfFull();
}

void Store::Remove(int id) {
    removed_.push_back(id);
    FlushIfFull();
}

void Store::Restamp(int id, std::int64_t sheetStamp) {
    stamps_ += (stamps_.empty() ? "(" : ",(") + std::to_string(id) + ",'" +
               std::to_string(sheetStamp) + "'::bigint)";
    FlushIfFull();
}

void Store::FlushIfFull() {
    if (items_.size() + removed_.size() >= kBatchRows || bytes_ + stamps_.size() >= kBatchBytes) {
        Flush();
    }
}

void Store::Flush() {
    const bool isEmpty = items_.empty() && removed_.empty() && stamps_.empty();
    if (!isEmpty && writes_ == Writes::kAll) {
        Transaction transaction(database_);
        RemoveRows(removed_);
        WriteSongs();
        WriteStamps();
        transaction.Commit();
    }
    items_.clear();
    removed_.clear();
    stamps_.clear();
    bytes_ = 0;
}

void Store::RenewStatistics() {
    if (writes_ == Writes::kAll) {
        database_.Execute(kRenewStatistics);
    }
}

// The changed files of the batch whose tracks are new, or stay; and the tracks that they have.
Store::KnownTracks Store::TracksOf(bool isKept) {
    KnownTracks known;
    for (Item &item : items_) {
        if (item.id != 0 && !item.keptSheet.empty() == isKept) {
            known.emplace(item.id, std::pair(&item, std::vector<KnownTrack>()));
        }
    }
    if (known.empty()) {
        return known;
    }
    std::vector<int> files;
    for (const auto &[file, item] : known) {
        files.push_back(file);
    }
    const Rows rows = database_.Query(Made(varn::Sql(kKnownTracks, IdList(files))));
    for (int row = 0; row < rows.Count(); ++row) {
        known.at(static_cast<int>(rows.Number(row, "file")))
            .second.push_back(
                {rows.Number(row, "number"), static_cast<int>(rows.Number(row, "id"))});
    }
    return known;
}

void Store::RemoveRows(const std::vector<int> &rows) {
    if (!rows.empty()) {
        const std::string ids = IdList(rows);
        NoteRemoved(database_, ids);
        database_.Execute(Made(varn::Sql(kDeleteSongs, ids, ids)));
    }
}

// Gives the tracks of changed files the rows that they had before, by their number, and removes the
// rows of those that are no more.
void Store::MatchTracks() {
    std::vector<int> surplus;
    for (const auto &[file, itemAndTracks] : TracksOf(false)) {
        const auto &[item, known] = itemAndTracks;
        for (const auto &[number, id] : known) {
            const auto match = std::find_if(
                item->tracks.begin(), item->tracks.end(), [wanted = number](const Track &track) {
                    return track.id == 0 && track.virtualSong.song.track == wanted;
                });
            if (match != item->tracks.end()) {
                match->id = id;
            } else {
                surplus.push_back(id);
            }
        }
    }
    RemoveRows(surplus);
}

// The tracks that stay go where their song goes.
void Store::MoveKeptTracks() {
    for (const auto &[file, itemAndTracks] : TracksOf(true)) {
        const auto &[item, known] = itemAndTracks;
        std::vector<int> tracks;
        for (const KnownTrack &track : known) {
            tracks.push_back(track.id);
        }
        const std::string ids = IdList(tracks);
        NoteFollowing(database_, ids, item->song.path);
        database_.Execute(
            Made(varn::Sql("UPDATE track SET path = '@VARN:VAR', userid = @VARN:INT"
                           " WHERE id = ANY ('{@VARN:NEVAR}')",
                           item->song.path, static_cast<int>(item->song.userid), ids)));
        database_.Execute(
            Made(varn::Sql("UPDATE virtual_info_track SET cue_sheet_path ="
                           " '@VARN:VAR' WHERE track = ANY ('{@VARN:NEVAR}')",
                           item->keptSheet, ids)));
    }
}

// Ids of new rows, fetched at once.
std::vector<int> Store::NewIds(std::size_t count) const {
    std::vector<int> ids;
    if (count > 0) {
        const Rows rows = database_.Query(Made(
            varn::Sql("SELECT nextval('track_id_seq') AS id FROM generate_series(1, @VARN:INT)",
                      static_cast<int>(count))));
        for (int row = 0; row < rows.Count(); ++row) {
            ids.push_back(static_cast<int>(rows.Number(row, "id")));
        }
    }
    return ids;
}

Store::Batch Store::MakeBatch() {
    std::size_t count = 0;
    for (const Item &item : items_) {
        count += item.id == 0 ? 1 : 0;
        for (const Track &track : item.tracks) {
            count += track.id == 0 ? 1 : 0;
        }
    }
    const std::vector<int> newIds = NewIds(count);
    auto newId = newIds.begin();
    Batch batch;
    const auto append = [&](int id, const Song &song, RowKind kind) {
        const bool isNew = id == 0;
        id = isNew ? *newId++ : id;
        AppendTrackRow(isNew ? batch.added : batch.changed, id, song, kind);
        if (isNew) {
            AppendStarRows(batch.stars, id, song);
        }
        AppendSideRows(batch.sides, id, song);
        return id;
    };
    for (const Item &item : items_) {
        const bool isWhole = item.tracks.empty() && item.keptSheet.empty();
        const int file = append(item.id, item.song, isWhole ? RowKind::kWhole : RowKind::kSplit);
        for (const auto &[track, known] : item.tracks) {
            const int id = append(known, track.song, RowKind::kTrack);
            AppendOffsetRow(batch.offsets, id, file, track.offset, track.sheetPath);
        }
    }
    return batch;
}

void Store::WriteSongs() {
    MatchTracks();
    MoveKeptTracks();
    const Batch batch = MakeBatch();
    if (!batch.added.empty()) {
        database_.CopyIn(CopyInto("track").c_str(), batch.added);
    }
    if (!batch.changed.empty()) {
        if (!std::exchange(hasStaging_, true)) {
            database_.Execute(kCreateStaging);
        }
        database_.CopyIn(CopyInto("changed_track").c_str(), batch.changed);
        NoteChanged(database_);
        database_.Execute(kUpdateTracks);
        database_.Execute(kDeleteSides);
    }
    for (std::size_t side = 0; side < batch.sides.size(); ++side) {
        if (!batch.sides[side].empty()) {
            database_.CopyIn(kCopySide[side], batch.sides[side]);
        }
    }
    if (!batch.offsets.empty()) {
        database_.CopyIn(kCopyOffsets, batch.offsets);
    }
    if (!batch.stars.empty()) {
        database_.CopyIn(kCopyStars, batch.stars);
    }
}

void Store::WriteStamps() {
    if (!stamps_.empty()) {
        database_.Execute("UPDATE track SET sheet_stamp = s.stamp FROM (VALUES " + stamps_ +
                          ") AS s(id, stamp) WHERE track.id = s.id");
    }
}

}  // namespace varnindex
