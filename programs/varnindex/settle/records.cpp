#include "varnindex/settle/records.h"

#include <sys/stat.h>

#include <cerrno>
#include <map>
#include <system_error>
#include <utility>

#include "varn/sql.h"
#include "varnindex/observe/links.h"
#include "varnindex/read/names.h"
#include "varnindex/settle/stars.h"
#include "varnindex/write/copy_rows.h"

namespace varnindex {
namespace {

constexpr int kWhole = -1;  // in place of a track's number: the song itself

constexpr const char kCopyDue[] = "COPY due_record (path, number, song, is_moved) FROM STDIN";
constexpr const char kNoteRemoved[] =
    "INSERT INTO due_record (path, number, song, is_moved)"
    " SELECT path, -1, 0, false FROM track WHERE id = ANY ('{@VARN:NEVAR}') UNION ALL"
    " SELECT v.path, v.track, 0, false FROM virtual_info_track i JOIN track v ON v.id = i.track"
    " WHERE i.file_track = ANY ('{@VARN:NEVAR}')";

// With the row that is at the path: another one may be there, too, that is going to leave. What is to
// be removed comes first, in case that two paths lead to one place.
constexpr const char kDue[] =
    "SELECT d.path, d.number, coalesce(max(m.id), max(t.id), 0) AS song,"
    " bool_or(d.is_moved) AS is_moved FROM"
    " (SELECT * FROM due_record WHERE @VARN:NEVAR) d"
    " LEFT JOIN track t ON t.path = d.path AND NOT t.is_virtual"
    " LEFT JOIN track m ON m.id = d.song AND m.path = d.path"
    " GROUP BY d.path, d.number ORDER BY coalesce(max(m.id), max(t.id), 0) > 0";

// Each batch leaves as many dead rows as it had, which the next ones walk through: of 100,000 songs
// that move the last batch took twice as long as the first one.
constexpr const char kIsLarge[] = "SELECT WHERE pg_relation_size('due_record') > 1 << 20";

constexpr const char kStars[] =
    "SELECT s.song, s.number, r.userid, r.star FROM (SELECT id, id AS song, -1 AS number FROM track"
    " WHERE id = ANY ('{@VARN:NEVAR}') UNION ALL SELECT v.id, i.file_track, v.track"
    " FROM virtual_info_track i JOIN track v ON v.id = i.track"
    " WHERE i.file_track = ANY ('{@VARN:NEVAR}')) s"
    " JOIN rating_track r ON r.track = s.id WHERE r.star > 0 ORDER BY r.userid";

using StarsOfRows = std::map<std::pair<int, int>, std::vector<Star>>;  // by id and number

StarsOfRows StarsOf(Database &database, const std::set<int> &songs) {
    std::string ids;
    for (const int id : songs) {
        ids += (ids.empty() ? "" : ",") + std::to_string(id);
    }
    StarsOfRows stars;
    const Rows rows = database.Query(Made(varn::Sql(kStars, ids, ids)));
    for (int row = 0; row < rows.Count(); ++row) {
        const auto number = [&](const char *column) {
            return static_cast<int>(rows.Number(row, column));
        };
        stars[{number("song"), number("number")}].push_back({number("userid"), number("star")});
    }
    return stars;
}

void AppendDue(std::string &rows, const std::string &path, int number, int song) {
    AppendEscaped(rows, path);
    rows += '\t' + std::to_string(number) + '\t' + std::to_string(song) + "\tt\n";
}

void BringInStep(const std::string &path, const std::vector<Star> &wanted,
                 std::vector<std::string> &problems) {
    if (!StoreStars(path, wanted)) {
        problems.push_back(Printable(path) + ": its rating record cannot be kept: " +
                           std::generic_category().message(errno));
    }
}

bool IsGone(const std::string &path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) != 0 && errno == ENOENT;
}

}  // namespace

std::vector<MovedSong> OnlyMoved(Database &database, std::vector<MovedSong> songs) {
    std::string ids;
    for (const MovedSong &song : songs) {
        ids += (ids.empty() ? "" : ",") + std::to_string(song.id);
    }
    std::map<int, std::string> paths;
    if (!ids.empty()) {
        const Rows rows =
            database.Query("SELECT id, path FROM track WHERE id = ANY ('{" + ids + "}')");
        for (int row = 0; row < rows.Count(); ++row) {
            paths[static_cast<int>(rows.Number(row, "id"))] = rows.Field(row, "path");
        }
    }
    std::vector<MovedSong> moved;
    for (MovedSong &song : songs) {
        const auto known = paths.find(song.id);
        if (known != paths.end() && known->second != song.to) {
            song.from = std::move(known->second);
            moved.push_back(std::move(song));
        }
    }
    return moved;
}

void NoteMoved(Database &database, const std::vector<MovedSong> &songs) {
    std::string rows;
    for (const MovedSong &song : songs) {
        std::set<int> numbers = song.numbers;
        numbers.insert(kWhole);
        for (const int number : numbers) {
            AppendDue(rows, song.from, number, 0);
            AppendDue(rows, song.to, number, song.id);
        }
    }
    if (!rows.empty()) {
        database.CopyIn(kCopyDue, rows);
    }
}

void NoteRemoved(Database &database, const std::string &ids) {
    database.Execute(Made(varn::Sql(kNoteRemoved, ids, ids)));
}

std::vector<std::string> SettleRecords(Database &database, const Scope &scope,
                                       const std::vector<std::string> &roots) {
    std::vector<std::string> problems;
    LinkedFolders links(roots);
    const std::string condition = ScopeCondition(scope, true);
    const Rows due = database.Query(Made(varn::Sql(kDue, condition)));
    if (due.Count() == 0) {
        return problems;
    }
    std::set<int> songs;
    for (int row = 0; row < due.Count(); ++row) {
        songs.insert(static_cast<int>(due.Number(row, "song")));
    }
    StarsOfRows stars = StarsOf(database, songs);
    for (int row = 0; row < due.Count(); ++row) {
        const std::string path = due.Field(row, "path");
        const int number = static_cast<int>(due.Number(row, "number"));
        const int song = static_cast<int>(due.Number(row, "song"));
        const bool isMoved = *due.Field(row, "is_moved") == 't';
        // Behind a link that took a folder's place are the records of other songs.
        const bool isOthers = song == 0 && links.IsBehindLink(path);
        if (!isOthers && (isMoved || IsGone(path))) {
            BringInStep(number == kWhole ? path : TrackRecordPath(path, number),
                        isMoved ? stars[{song, number}] : std::vector<Star>(), problems);
        }
    }
    database.Execute("DELETE FROM due_record WHERE " + condition);
    if (database.Query(kIsLarge).Count() > 0) {
        database.Execute("VACUUM due_record");
    }
    return problems;
}

}  // namespace varnindex
