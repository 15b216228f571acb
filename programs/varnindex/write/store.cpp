#include "varnindex/write/store.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "varn/sql.h"
#include "varnindex/read/readers.h"
#include "varnindex/settle/shared_lists.h"

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
    " virtual_info_track, directory, personal_directory, playlist, personal_playlist";

std::string CopyInto(const char *table) {
    return std::string("COPY ") + table + " (" + kTrackColumns + ") FROM STDIN";
}

void AddId(std::string &list, int id) {
    list += (list.empty() ? "" : ",") + std::to_string(id);
}

}  // namespace

void DeleteSongs(Database &database, const std::string &ids) {
    database.Execute(Made(varn::Sql(kDeleteSongs, ids, ids)));
}

Store::Store(Database &database, Writes writes, Scope own, std::vector<std::string> roots,
             Reporter &reporter)
    : database_(database),
      writes_(writes),
      own_(std::move(own)),
      roots_(std::move(roots)),
      reporter_(reporter) {
    database_.Execute(kCreateStaging);
    if (writes_ == Writes::kAll) {
        reporter_.WarnOfAll(SettleRecords(database_, own_, roots_));  // of a scan that was killed
        reporter_.WarnOfAll(SettleSharedLists(database_, own_));
    }
}

void Store::Add(Song song, std::vector<VirtualSong> tracks) {
    Keep(0, std::move(song), std::move(tracks));
}

void Store::Change(int id, Song song, std::vector<VirtualSong> tracks) {
    Keep(id, std::move(song), std::move(tracks));
}

void Store::ChangeWithTracks(int id, Song song, const std::string &sheetPath) {
    bytes_ += TextBytes(song) + sheetPath.size();
    items_.push_back({id, std::move(song), {}, sheetPath});
    FlushIfFull();
}

void Store::Keep(int id, Song song, std::vector<VirtualSong> tracks) {
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
        RemoveRows();
        WriteSongs();
        WriteStamps();
        transaction.Commit();
        reporter_.WarnOfAll(SettleRecords(database_, own_, roots_));
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

Store::KnownTracks Store::TracksOf(const std::vector<int> &files) {
    KnownTracks known;
    if (files.empty()) {
        return known;
    }
    std::string ids;
    for (const int id : files) {
        AddId(ids, id);
    }
    const Rows rows = database_.Query(Made(varn::Sql(kKnownTracks, ids)));
    for (int row = 0; row < rows.Count(); ++row) {
        known[static_cast<int>(rows.Number(row, "file"))].push_back(
            {rows.Number(row, "number"), static_cast<int>(rows.Number(row, "id"))});
    }
    return known;
}

void Store::RemoveRows() {
    std::string ids;
    for (const int id : removed_) {
        AddId(ids, id);
    }
    if (!ids.empty()) {
        NoteRemoved(database_, ids);
        DeleteSongs(database_, ids);
    }
}

void Store::DeleteRows(const std::string &ids) {
    if (!ids.empty()) {
        database_.Execute("DELETE FROM track WHERE id = ANY ('{" + ids + "}')");
    }
}

// Gives the tracks of changed files the rows that they had before, by their number, and removes the
// rows of those that are no more.
void Store::MatchTracks() {
    std::vector<int> files;
    std::map<int, Item *> items;
    for (Item &item : items_) {
        if (item.id != 0 && item.keptSheet.empty()) {
            files.push_back(item.id);
            items.emplace(item.id, &item);
        }
    }
    std::string surplus;
    for (const auto &[file, known] : TracksOf(files)) {
        std::vector<Track> &tracks = items.at(file)->tracks;
        for (const auto &[number, id] : known) {
            const auto match =
                std::find_if(tracks.begin(), tracks.end(), [wanted = number](const Track &track) {
                    return track.id == 0 && track.virtualSong.song.track == wanted;
                });
            if (match != tracks.end()) {
                match->id = id;
            } else {
                AddId(surplus, id);
            }
        }
    }
    DeleteRows(surplus);
}

// The tracks that stay go where their song goes.
void Store::MoveKeptTracks() {
    std::map<int, const Item *> items;
    std::vector<int> files;
    for (const Item &item : items_) {
        if (!item.keptSheet.empty()) {
            files.push_back(item.id);
            items.emplace(item.id, &item);
        }
    }
    for (const auto &[file, known] : TracksOf(files)) {
        const Item &item = *items.at(file);
        std::string ids;
        for (const KnownTrack &track : known) {
            AddId(ids, track.id);
        }
        database_.Execute(
            Made(varn::Sql("UPDATE track SET path = '@VARN:VAR', userid = @VARN:INT"
                           " WHERE id = ANY ('{@VARN:NEVAR}')",
                           item.song.path, static_cast<int>(item.song.userid), ids)));
        database_.Execute(
            Made(varn::Sql("UPDATE virtual_info_track SET cue_sheet_path ="
                           " '@VARN:VAR' WHERE track = ANY ('{@VARN:NEVAR}')",
                           item.keptSheet, ids)));
    }
}

// The songs that are about to get other paths.
std::vector<MovedSong> Store::Moved() {
    std::vector<MovedSong> songs;
    std::vector<int> ids;
    for (const Item &item : items_) {
        if (item.id != 0) {
            songs.push_back({item.id, "", item.song.path});
            for (const Track &track : item.tracks) {
                songs.back().numbers.insert(track.virtualSong.song.track);
            }
        }
    }
    songs = OnlyMoved(database_, std::move(songs));
    for (const MovedSong &song : songs) {
        ids.push_back(song.id);
    }
    KnownTracks known = TracksOf(ids);
    for (MovedSong &song : songs) {
        for (const KnownTrack &track : known[song.id]) {
            song.numbers.insert(static_cast<int>(track.number));
        }
    }
    return songs;
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
    const std::vector<MovedSong> moved = Moved();
    MatchTracks();
    MoveKeptTracks();
    const Batch batch = MakeBatch();
    if (!batch.added.empty()) {
        database_.CopyIn(CopyInto("track").c_str(), batch.added);
    }
    if (!batch.changed.empty()) {
        database_.CopyIn(CopyInto("changed_track").c_str(), batch.changed);
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
    NoteMoved(database_, moved);
    NoteEntries(database_, moved);
}

void Store::WriteStamps() {
    if (!stamps_.empty()) {
        database_.Execute("UPDATE track SET sheet_stamp = s.stamp FROM (VALUES " + stamps_ +
                          ") AS s(id, stamp) WHERE track.id = s.id");
    }
}

}  // namespace varnindex
