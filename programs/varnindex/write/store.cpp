#include "varnindex/write/store.h"

#include <algorithm>
#include <map>
#include <utility>

#include "varn/sql.h"
#include "varnindex/copy_line.h"

namespace varnindex {
namespace {

constexpr std::size_t kBatchRows = 1000;

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

// After kDeleteSides a changed song has only the tracks that it keeps. They go where it goes; their
// sheet is still in the song, or beside it.
constexpr const char *kMoveTracks =
    "INSERT INTO outbox (song, number, path, moved_to)"
    " SELECT id, CASE WHEN is_virtual THEN t.track ELSE -1 END, t.path, c.path FROM track t"
    " JOIN (SELECT id, path FROM changed_track UNION ALL SELECT i.track, c.path"
    " FROM virtual_info_track i JOIN changed_track c ON c.id = i.file_track) c USING (id)"
    " WHERE t.path <> c.path;"
    "UPDATE virtual_info_track i SET cue_sheet_path = CASE WHEN cue_sheet_path = t.path THEN c.path"
    " ELSE regexp_replace(c.path, '[^/]*$', '') || regexp_replace(cue_sheet_path, '^.*/', '') END"
    " FROM track t, changed_track c WHERE t.id = i.track AND c.id = i.file_track;"
    "UPDATE track t SET path = c.path, userid = c.userid FROM virtual_info_track i"
    " JOIN changed_track c ON c.id = i.file_track WHERE t.id = i.track";

constexpr const char *kCopyOffsets =
    "COPY virtual_info_track (track, file_track, audio_offset, cue_sheet_path) FROM STDIN";

constexpr const char kDeleteSongs[] =
    "WITH gone AS (DELETE FROM track WHERE id IN (SELECT unnest('{@VARN:NEVAR}'::integer[])"
    " UNION ALL SELECT track FROM virtual_info_track WHERE file_track = ANY ('{@VARN:NEVAR}'))"
    " RETURNING id, is_virtual, track, path) INSERT INTO outbox (song, number, path)"
    " SELECT id, CASE WHEN is_virtual THEN track ELSE -1 END, path FROM gone";
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

void Store::Write(int id, Song song, std::optional<std::vector<VirtualSong>> tracks) {
    Item &item = changes_.items.emplace_back(Item{id, std::move(song), {}, !tracks});
    if (tracks) {
        for (VirtualSong &track : *tracks) {
            track.song.userid = item.song.userid;
            item.tracks.push_back({std::move(track), 0});
        }
    }
    CountRows(1 + item.tracks.size());
}

void Store::Remove(int id) {
    changes_.removed.push_back(id);
    CountRows(1);
}

void Store::Restamp(int id, std::int64_t sheetStamp) {
    changes_.stamps += (changes_.stamps.empty() ? "(" : ",(") + std::to_string(id) + ",'" +
                       std::to_string(sheetStamp) + "'::bigint)";
    CountRows(1);
}

void Store::CountRows(std::size_t count) {
    changes_.rows += count;
    if (changes_.rows >= kBatchRows) {
        Flush();
    }
}

void Store::Flush() {
    if (changes_.rows > 0 && writes_ == Writes::kAll) {
        Transaction transaction(database_);
        RemoveRows(changes_.removed);
        WriteSongs();
        WriteStamps();
        transaction.Commit();
    }
    changes_ = {};
}

void Store::RenewStatistics() {
    if (writes_ == Writes::kAll) {
        database_.Execute(kRenewStatistics);
    }
}

void Store::RemoveRows(const std::vector<int> &rows) {
    if (!rows.empty()) {
        const std::string ids = IdList(rows);
        database_.Execute(Made(varn::Sql(kDeleteSongs, ids, ids)));
    }
}

// Gives the tracks of changed files the rows that they had before, by their number, and removes the
// rows of those that are no more. Tracks that stay go where their song goes.
void Store::MatchTracks() {
    std::map<int, Item *> files;
    std::string ids;
    for (Item &item : changes_.items) {
        if (item.id != 0) {
            files.emplace(item.id, &item);
            ids += (ids.empty() ? "" : ",") + std::to_string(item.id);
        }
    }
    if (files.empty()) {
        return;
    }
    std::vector<int> surplus;
    for (const varn::Row row : database_.Query(Made(varn::Sql(kKnownTracks, ids)))) {
        Item *const item = files.at(static_cast<int>(row.Number("file")));
        const int id = static_cast<int>(row.Number("id"));
        const auto match =
            std::find_if(item->tracks.begin(), item->tracks.end(), [&](const Track &track) {
                return track.id == 0 && track.virtualSong.song.track == row.Number("number");
            });
        if (match != item->tracks.end()) {
            match->id = id;
        } else if (!item->keepsTracks) {
            surplus.push_back(id);
        }
    }
    RemoveRows(surplus);
}

// Ids of new rows, fetched at once.
std::vector<int> Store::NewIds(std::size_t count) {
    std::vector<int> ids;
    if (count > 0) {
        for (const varn::Row row : database_.Query(Made(varn::Sql(
                 "SELECT nextval('track_id_seq') AS id FROM generate_series(1, @VARN:INT)",
                 static_cast<int>(count))))) {
            ids.push_back(static_cast<int>(row.Number("id")));
        }
    }
    return ids;
}

Store::Batch Store::MakeBatch() {
    std::size_t count = 0;
    for (const Item &item : changes_.items) {
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
            for (const Star &star : song.stars) {
                AppendLine(batch.stars, id, star.userid, star.stars);
            }
        }
        AppendSideRows(batch.sides, id, song);
        return id;
    };
    for (const Item &item : changes_.items) {
        const bool isWhole = item.tracks.empty() && !item.keepsTracks;
        const int file = append(item.id, item.song, isWhole ? RowKind::kWhole : RowKind::kSplit);
        for (const auto &[track, known] : item.tracks) {
            const int id = append(known, track.song, RowKind::kTrack);
            AppendLine(batch.offsets, id, file, track.offset, track.sheetPath);
        }
    }
    return batch;
}

void Store::WriteSongs() {
    MatchTracks();
    const Batch batch = MakeBatch();
    const auto copy = [&](const std::string &statement, const std::string &rows) {
        if (!rows.empty()) {
            database_.CopyIn(statement.c_str(), rows);
        }
    };
    copy(CopyInto("track"), batch.added);
    if (!batch.changed.empty()) {
        if (!std::exchange(hasStaging_, true)) {
            database_.Execute(kCreateStaging);
        }
        copy(CopyInto("changed_track"), batch.changed);
        database_.Execute(kDeleteSides);
        database_.Execute(kMoveTracks);
        database_.Execute(kUpdateTracks);
    }
    for (std::size_t side = 0; side < batch.sides.size(); ++side) {
        copy(kCopySide[side], batch.sides[side]);
    }
    copy(kCopyOffsets, batch.offsets);
    copy(kCopyStars, batch.stars);
}

void Store::WriteStamps() {
    if (!changes_.stamps.empty()) {
        database_.Execute("UPDATE track SET sheet_stamp = s.stamp FROM (VALUES " + changes_.stamps +
                          ") AS s(id, stamp) WHERE track.id = s.id");
    }
}

}  // namespace varnindex
