#include "store.h"

#include <algorithm>
#include <string>

#include "copy_rows.h"
#include "varn/sql.h"

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
    " agg_genre_sort = c.agg_genre_sort"
    " FROM changed_track c WHERE track.id = c.id";

constexpr const char *kDeleteSides =
    "DELETE FROM album_track USING changed_track c WHERE album_track.track = c.id;"
    "DELETE FROM artist_track USING changed_track c WHERE artist_track.track = c.id;"
    "DELETE FROM composer_track USING changed_track c WHERE composer_track.track = c.id;"
    "DELETE FROM genre_track USING changed_track c WHERE genre_track.track = c.id;"
    "DELETE FROM replaygain_track USING changed_track c WHERE replaygain_track.track = c.id";

constexpr const char *kRenewStatistics =
    "ANALYZE track, album_track, artist_track, composer_track, genre_track, replaygain_track";

std::string CopyInto(const char *table) {
    return std::string("COPY ") + table + " (" + kTrackColumns + ") FROM STDIN";
}

std::size_t TextBytes(const Song &song) {
    std::size_t bytes = song.path.size() + song.comment.size();
    for (const std::string *text : {&song.title, &song.titleSort, &song.album, &song.albumSort,
                                    &song.artist, &song.artistSort, &song.albumArtist,
                                    &song.albumArtistSort, &song.composer, &song.composerSort}) {
        bytes += text->size();
    }
    for (const std::string &genre : song.genres) {
        bytes += 2 * genre.size();
    }
    return bytes;
}

}  // namespace

Store::Store(Database &database) : database_(database) {
    database_.Execute(kCreateStaging);
}

void Store::Add(Song song) {
    Keep({0, std::move(song)});
}

void Store::Change(int id, Song song) {
    Keep({id, std::move(song)});
}

void Store::Keep(Item item) {
    bytes_ += TextBytes(item.song);
    items_.push_back(std::move(item));
    FlushIfFull();
}

void Store::Remove(int id) {
    removed_.push_back(id);
    FlushIfFull();
}

void Store::FlushIfFull() {
    if (items_.size() + removed_.size() >= kBatchRows || bytes_ >= kBatchBytes) {
        Flush();
    }
}

void Store::Flush() {
    if (items_.empty() && removed_.empty()) {
        return;
    }
    Transaction transaction(database_);
    RemoveRows();
    WriteSongs();
    transaction.Commit();
    items_.clear();
    removed_.clear();
    bytes_ = 0;
}

void Store::RenewStatistics() {
    database_.Execute(kRenewStatistics);
}

void Store::RemoveRows() {
    if (removed_.empty()) {
        return;
    }
    std::string ids;
    for (const int id : removed_) {
        ids += ids.empty() ? "" : ",";
        ids += std::to_string(id);
    }
    database_.Execute("DELETE FROM track WHERE id = ANY ('{" + ids + "}')");
}

// Ids of the new rows, fetched at once.
std::vector<int> Store::NewIds() {
    const auto isNew = [](const Item &item) { return item.id == 0; };
    const auto count = static_cast<int>(std::count_if(items_.begin(), items_.end(), isNew));
    const Rows rows = database_.Query(Made(varn::Sql(
        "SELECT nextval('track_id_seq') AS id FROM generate_series(1, @VARN:INT)", count)));
    std::vector<int> ids;
    for (int row = 0; row < rows.Count(); ++row) {
        ids.push_back(static_cast<int>(rows.Number(row, "id")));
    }
    return ids;
}

void Store::WriteSongs() {
    const std::vector<int> newIds = NewIds();
    auto newId = newIds.begin();
    std::string added;
    std::string changed;
    SideRows sides;
    for (const Item &item : items_) {
        const int id = item.id != 0 ? item.id : *newId++;
        AppendTrackRow(item.id != 0 ? changed : added, id, item.song);
        AppendSideRows(sides, id, item.song);
    }
    if (!added.empty()) {
        database_.CopyIn(CopyInto("track").c_str(), added);
    }
    if (!changed.empty()) {
        database_.CopyIn(CopyInto("changed_track").c_str(), changed);
        database_.Execute(kUpdateTracks);
        database_.Execute(kDeleteSides);
    }
    for (std::size_t side = 0; side < sides.size(); ++side) {
        if (!sides[side].empty()) {
            database_.CopyIn(kCopySide[side], sides[side]);
        }
    }
}

}  // namespace varnindex
