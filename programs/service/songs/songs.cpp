#include "service/songs/songs.h"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <map>
#include <utility>

#include "service/base/failure.h"
#include "service/lists/kept_list.h"
#include "service/lists/kinds.h"
#include "service/songs/music_places.h"
#include "tonvale/playlists.h"
#include "varn/number.h"
#include "varn/rating_record.h"
#include "varn/run_as.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

// Where a track starts in its file, without another statement.
constexpr char kStart[] =
    ", (SELECT max(v.audio_offset) FROM virtual_info_track v WHERE v.track = id) AS audio_offset";

bool IsOneOf(const std::vector<std::string> &names, const std::string &name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string Order(const ListRequest &request, const std::string &condition,
                  const TrackWriter &writer) {
    if (request.sortBy == kRandom) {
        if (!condition.empty() || request.offset > 0 || request.limit == 0) {
            throw Failure(Reason::kRandomPart);
        }
        return "RANDOM()";
    }
    const std::string &key = request.sortBy.empty() ? SongSortKeys().front() : request.sortBy;
    if (!IsOneOf(SongSortKeys(), key)) {
        throw Failure(Reason::kUnknownSortKey, key);
    }
    return writer.GetSortOrderString(key, Direction(request));
}

Tonvale::MediaHandle OpenRows(const std::string &kind, uid_t uid, const std::string &columns,
                              const std::string &condition, const char *order = nullptr) {
    Tonvale::MediaHandle rows(AudioInfoDBOpen(kind.c_str(), uid, VARN_TABLE_MUSIC, columns.c_str(),
                                              condition.c_str(), nullptr, order, 0, -1, 0));
    if (!rows) {
        NoAnswer();
    }
    return rows;
}

std::string IdCondition(const std::set<int> &ids) {
    std::string list;
    for (const int id : ids) {
        list += (list.empty() ? "" : ", ") + std::to_string(id);
    }
    return "id IN (" + list + ")";
}

// The songs with these ids that the request's library has, in this order; null for no ids.
Tonvale::MediaHandle OpenInOrder(const ListRequest &request, const std::vector<int> &ids,
                                 const std::string &columns) {
    if (ids.empty()) {
        return nullptr;
    }
    std::string places;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        places += (i == 0 ? "{\"" : ",\"") + std::to_string(ids[i]) + "\":" + std::to_string(i);
    }
    const std::string order = "('" + places + "}'::jsonb ->> id::text)::integer";
    return OpenRows(request.library, request.uid, columns,
                    IdCondition(std::set<int>(ids.begin(), ids.end())), order.c_str());
}

// A page of more songs is read by the list's own statement.
constexpr std::size_t kMostByIds = 1000;

bool IsByTitle(const ListRequest &request) {
    return request.sortBy.empty() || request.sortBy == SongSortKeys().front();
}

// A song's row as it stands in a kept list.
std::string KeptRecord(int row) {
    return {reinterpret_cast<const char *>(&row), sizeof row};
}

std::vector<int> RowsIn(const std::vector<std::string> &records) {
    std::vector<int> rows;
    for (const std::string &record : records) {
        std::memcpy(&rows.emplace_back(), record.data(), std::min(record.size(), sizeof(int)));
    }
    return rows;
}

std::vector<std::string> SongOrder(const ListRequest &request, const std::string &condition,
                                   const std::string &order) {
    const Tonvale::MediaHandle rows =
        OpenRows(request.library, request.uid, "id", condition, order.c_str());
    std::vector<std::string> records;
    records.reserve(static_cast<std::size_t>(rows->rowCount));
    for (int row = 0; row < rows->rowCount; ++row) {
        records.push_back(KeptRecord(static_cast<int>(NumberOf(rows, row, "id"))));
    }
    return records;
}

// The songs of a part of a list, in its order; null when the library shows others by now.
std::unique_ptr<SongPage> ReadPart(const ListRequest &request, const ListPart &part,
                                   const TrackWriter &writer) {
    const Version version = part.records.empty() ? ReadVersion(request.uid) : part.version;
    return version.songs == part.version.songs
               ? SongsOfVersion(request, RowsIn(part.records), part.total, version, writer)
               : nullptr;
}

// A page by the order that is kept, in which stars have no part. Null when that order cannot be
// used.
std::unique_ptr<SongPage> OpenKept(const ListRequest &request, const std::string &condition,
                                   const std::string &order, const TrackWriter &writer) {
    if (request.sortBy == kRandom || request.limit <= 0 ||
        static_cast<std::size_t>(request.limit) > kMostByIds) {
        return nullptr;
    }
    const bool isIndexed = condition.empty() && IsByTitle(request) &&
                           int64_t{request.offset} + request.limit <= kFirstSongs;
    const ListKey key("songs", request, condition, order, false);
    const auto kept = KeptPart(key, request.offset, request.limit);
    auto page = kept ? ReadPart(request, *kept, writer) : nullptr;
    // While a scan runs, each batch of songs outdates the order.
    if (page || isIndexed || (kept && kept->isYoung)) {
        return page;
    }
    return ReadPart(request,
                    ComputePart(key, request.offset, request.limit,
                                [&] { return SongOrder(request, condition, order); }),
                    writer);
}

// A list of what a user has played or likes: its key, the table, and the order.
struct ListenedKey {
    const char *name;
    const char *table;
    std::vector<const char *> columns;
};

const ListenedKey *ListenedKeyOf(const std::string &name) {
    static const ListenedKey keys[] = {{kByPlays, "song_play", {"plays", "last"}},
                                       {kByLastPlay, "song_play", {"last"}},
                                       {kByFavourite, "favourite_song", {"made"}}};
    const auto *const found = std::find_if(
        std::begin(keys), std::end(keys), [&](const ListenedKey &key) { return name == key.name; });
    return found != std::end(keys) ? found : nullptr;
}

// Read anew each time: the list is short beside the library, and each play changes it.
std::unique_ptr<SongPage> OpenListened(const ListRequest &request, const ListenedKey &key,
                                       std::string condition, const TrackWriter &writer) {
    const std::string ofUser = std::string(" FROM ") + key.table + " l WHERE l.userid = " +
                               std::to_string(static_cast<int>(request.uid));
    AddCondition(condition, "id IN (SELECT l.track" + ofUser + ")");
    std::string order;
    for (const char *const column : key.columns) {
        order += std::string("(SELECT l.") + column + ofUser + " AND l.track = id) " +
                 Direction(request) + ", ";
    }
    const std::vector<int> rows = RowsIn(SongOrder(request, condition, order + "id"));
    const auto total = static_cast<int64_t>(rows.size());
    const auto first = std::min<int64_t>(request.offset, total);
    const auto last = std::clamp(EndOfPage(request.offset, request.limit, total), first, total);
    return SongsInOrder(request, {rows.begin() + first, rows.begin() + last}, total, writer);
}

std::unique_ptr<SongPage> Open(const ListRequest &request, const std::string &condition,
                               const TrackWriter &writer) {
    if (const ListenedKey *const key = ListenedKeyOf(request.sortBy)) {
        return OpenListened(request, *key, condition, writer);
    }
    const std::string order = Order(request, condition, writer);
    if (auto page = OpenKept(request, condition, order, writer)) {
        return page;
    }
    const char *library = request.library.c_str();
    const bool isVersioned = request.sortBy != kRandom && request.limit > 0;
    const Version before = isVersioned ? ReadVersion(request.uid) : Version();
    // Two statements: a total within the page's own would read the whole library for every page.
    const int64_t total = AudioInfoDBGetCount(library, request.uid, VARN_TABLE_MUSIC, "*",
                                              condition.c_str(), nullptr, 0);
    const std::string columns =
        TrackColumns(writer) + (before.songs ? ", " + VersionColumns(request.uid) : "");
    Tonvale::MediaHandle rows(total < 0 ? nullptr
                                        : AudioInfoDBOpen(library, request.uid, VARN_TABLE_MUSIC,
                                                          columns.c_str(), condition.c_str(),
                                                          nullptr, order.c_str(), request.offset,
                                                          request.limit, 0));
    if (!rows) {
        NoAnswer();
    }
    const Version seen = VersionOf(rows);
    auto page = std::make_unique<SongPage>(std::move(rows), writer, request.offset, total);
    page->SetVersion(seen == before ? before : Version());
    return page;
}

// The rows of songs by their identifiers; true are tracks of cue sheets.
std::map<bool, std::set<int>> ByKind(const std::vector<std::string> &ids) {
    std::map<bool, std::set<int>> rows;
    for (const std::string &id : ids) {
        const auto song = ParseSongId(id);
        if (!song) {
            throw Failure(Reason::kNotASongId, id);
        }
        rows[song->isVirtual].insert(song->row);
    }
    return rows;
}

std::string WholeKind(bool isVirtual, uid_t uid) {
    return ChosenKind(isVirtual ? "virtual" : "actual", uid);
}

using Clock = std::chrono::steady_clock;

// All records that are kept locked hold a request up for so long together.
constexpr std::chrono::seconds kPatience(2);

int MillisecondsUntil(Clock::time_point end) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

// Where the record beside a song is kept: its path, that of a track under its virtual name.
struct Record {
    uid_t owner;
    std::string path;
};

Record RecordOf(const Tonvale::MediaHandle &rows, int row, bool isVirtual) {
    const std::string path = FieldOf(rows, row, "path");
    return {static_cast<uid_t>(NumberOf(rows, row, "userid")),
            isVirtual ? path + "_" + FieldOf(rows, row, "track") : path};
}

// Puts a rating into the record beside a song, as root: no link on the way to it leads out of the
// music of its owner. What fails is logged; the table has the rating.
void KeepRating(const Record &record, uid_t uid, unsigned stars, Clock::time_point end) {
    const auto &[owner, path] = record;
    try {
        const PlacedSong song(owner, path);
        const varn::RunAs root(varn::Who::kRoot);
        if (varn::KeepRating(song.HeldPath().c_str(), uid, stars, MillisecondsUntil(end)) ==
            varn::RatingKept::kYes) {
            return;
        }
    } catch (const Failure &) {
        errno = EXDEV;  // it leads out of the music
    }
    syslog(LOG_ERR, "The rating of %s is kept in the database alone: %m", path.c_str());
}

}  // namespace

const std::vector<std::string> &SongSortKeys() {
    static const std::vector<std::string> keys = {
        "title", "artist", "album", "album_artist", "composer", "genre", "year",
        "track", "disc",   "path",  "duration",     "bitrate",  "date"};
    return keys;
}

std::unique_ptr<SongPage> ListSongs(const ListRequest &request, const TrackWriter &writer,
                                    const std::string &found) {
    std::string condition = Condition(request.filters);
    if (!found.empty()) {
        AddCondition(condition, found);
    }
    return Open(request, condition, writer);
}

std::vector<int> SongRows(const ListRequest &request) {
    const std::string condition = Condition(request.filters);
    const std::string order =
        Order(request, condition, Tonvale::webapi::WebapiLibrary(request.uid, "", ""));
    const ListKey key("songs", request, condition, order, false);
    auto part = KeptPart(key, request.offset, request.limit);
    if (!part || (part->version.songs != ReadVersion(request.uid).songs && !part->isYoung)) {
        part = ComputePart(key, request.offset, request.limit,
                           [&] { return SongOrder(request, condition, order); });
    }
    return RowsIn(part->records);
}

std::unique_ptr<SongPage> SongsInOrder(const ListRequest &request, const std::vector<int> &rows,
                                       int64_t total, const TrackWriter &writer) {
    return std::make_unique<SongPage>(OpenInOrder(request, rows, TrackColumns(writer)), writer,
                                      request.offset, total);
}

std::unique_ptr<SongPage> SongsOfVersion(const ListRequest &request, const std::vector<int> &rows,
                                         int64_t total, const Version &version,
                                         const TrackWriter &writer) {
    if (rows.size() > kMostByIds) {
        return nullptr;
    }
    Tonvale::MediaHandle found =
        OpenInOrder(request, rows, TrackColumns(writer) + ", " + VersionColumns(request.uid));
    const Version seen = rows.empty() ? version : VersionOf(found);
    if (!seen.songs || seen.songs != version.songs ||
        (found && found->rowCount != static_cast<int>(rows.size()))) {
        return nullptr;
    }
    auto page = std::make_unique<SongPage>(std::move(found), writer, request.offset, total);
    page->SetVersion(seen);
    return page;
}

SongId SongIn(const varn::Row &row) {
    return {static_cast<int>(row.Number("id")), row.Number("is_virtual") != 0};
}

std::string SongIdText(const SongId &song, bool isOwn) {
    return std::string(isOwn ? "music_p_" : "music_") + (song.isVirtual ? "v_" : "") +
           std::to_string(song.row);
}

std::optional<SongId> ParseSongId(std::string_view id) {
    struct Form {
        std::string_view prefix;
        bool isVirtual;
    };
    // The longer ones first.
    constexpr Form kForms[] = {
        {"music_p_v_", true}, {"music_v_", true}, {"music_p_", false}, {"music_", false}};
    for (const Form &form : kForms) {
        if (id.starts_with(form.prefix)) {
            const std::string_view digits = id.substr(form.prefix.size());
            int row = 0;
            const auto [end, error] =
                std::from_chars(digits.data(), digits.data() + digits.size(), row);
            const bool good = error == std::errc() && end == digits.data() + digits.size();
            return good && row > 0 ? std::optional(SongId{row, form.isVirtual}) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::vector<std::string> SongIds(const std::string &name) {
    return varn::IsNumber(name) ? std::vector{"music_" + name, "music_v_" + name}
                                : std::vector{name};
}

std::map<SongId, VARN_MEDIA_INFO> ReadSongs(uid_t uid, const std::vector<std::string> &ids,
                                            Among among) {
    std::map<std::string, std::set<int>> rowsOfKinds;
    for (auto &[isVirtual, rows] : ByKind(ids)) {
        rowsOfKinds[among == Among::kAll ? WholeKind(isVirtual, uid)
                                         : VARNAudioWebapiUtilsGetBrowseLibraryByUid(uid)]
            .merge(rows);
    }
    std::map<SongId, VARN_MEDIA_INFO> songs;
    const auto record = std::make_unique<VARN_MEDIA_INFO>();
    for (const auto &[kind, wanted] : rowsOfKinds) {
        const Tonvale::MediaHandle rows =
            OpenRows(kind, uid, std::string(kSongColumns) + kStart, IdCondition(wanted));
        while (MediaInfoDBGet(rows.get(), record.get()) == 0) {
            songs.emplace(SongId{static_cast<int>(record->id), IsVirtualMusic(record.get())},
                          *record);
        }
    }
    return songs;
}

VARN_MEDIA_INFO ReadSong(uid_t uid, const std::string &id, Among among) {
    const auto songs = ReadSongs(uid, {id}, among);
    const auto found = songs.find(*ParseSongId(id));
    if (found == songs.end()) {
        throw Failure(Reason::kNoSuchSong, id);
    }
    return found->second;
}

std::set<int> RowsOf(const ListRequest &request, const std::set<int> &wanted) {
    std::string condition = Condition(request.filters);
    if (!wanted.empty()) {
        AddCondition(condition, IdCondition(wanted));
    }
    if (condition.empty()) {
        throw Failure(Reason::kNoSongsToRate);
    }
    const Tonvale::MediaHandle rows = OpenRows(request.library, request.uid, "id", condition);
    std::set<int> found;
    for (int row = 0; row < rows->rowCount; ++row) {
        found.insert(static_cast<int>(NumberOf(rows, row, "id")));
    }
    for (const int id : wanted) {
        if (found.count(id) == 0) {
            throw Failure(Reason::kNoSuchSong, std::to_string(id));
        }
    }
    return found;
}

Json::Value SongsById(uid_t uid, const std::vector<std::string> &ids, const TrackWriter &writer) {
    std::map<SongId, Json::Value> tracks;
    for (const auto &[isVirtual, wanted] : ByKind(ids)) {
        Tonvale::MediaHandle rows =
            OpenRows(WholeKind(isVirtual, uid), uid, TrackColumns(writer), IdCondition(wanted));
        // The row ids, because the "id" of an object may have a path in place of one.
        std::vector<int> found;
        for (int row = 0; row < rows->rowCount; ++row) {
            found.push_back(static_cast<int>(NumberOf(rows, row, "id")));
        }
        SongPage page(std::move(rows), writer, 0, 0);
        auto next = found.begin();
        for (Json::Value part = page.Next(); !part.empty(); part = page.Next()) {
            for (Json::Value &track : part) {
                tracks[{*next++, isVirtual}] = std::move(track);
            }
        }
    }
    Json::Value songs(Json::arrayValue);
    for (const std::string &id : ids) {
        const auto found = tracks.find(*ParseSongId(id));
        if (found != tracks.end()) {
            songs.append(found->second);
        }
    }
    return songs;
}

std::set<int> RowsOf(uid_t uid, const std::vector<std::string> &ids) {
    std::set<int> found;
    for (const auto &[isVirtual, rows] : ByKind(ids)) {
        ListRequest request;
        request.library = WholeKind(isVirtual, uid);
        request.uid = uid;
        found.merge(RowsOf(request, rows));
    }
    return found;
}

void RateSongs(uid_t uid, const std::set<int> &rows, unsigned stars) {
    if (rows.empty()) {
        return;
    }
    Tonvale::MediaHandle found;
    std::vector<std::string> ids;
    std::vector<Record> records;
    for (const bool isVirtual : {false, true}) {
        found =
            OpenRows(WholeKind(isVirtual, uid), uid, "id, userid, path, track", IdCondition(rows));
        for (int row = 0; row < found->rowCount; ++row) {
            ids.push_back(FieldOf(found, row, "id"));
            records.push_back(RecordOf(found, row, isVirtual));
        }
    }
    if (ids.size() < rows.size()) {
        throw Failure(Reason::kSongsLeft);
    }
    std::vector<std::string> rated;
    if (VARNAudioWebapiSaveDBStar(ids, rated, found.get(), uid, stars) != 1) {
        NoAnswer();
    }
    const auto end = Clock::now() + kPatience;
    const std::set<std::string> written(rated.begin(), rated.end());
    for (const Record &record : records) {
        if (written.count(record.path) != 0) {
            KeepRating(record, uid, stars, end);
        }
    }
    if (rated.size() < ids.size()) {
        throw Failure(Reason::kSomeSongsLeft);
    }
}

}  // namespace tonvale_service
