#include "records.h"

#include <sys/stat.h>

#include <cerrno>
#include <map>
#include <system_error>
#include <utility>

#include "names.h"
#include "stars.h"
#include "varn/sql.h"

namespace varnindex {
namespace {

constexpr int kWhole = -1;  // in place of a track's number: the song itself

constexpr const char kRowsAt[] =
    "SELECT id, path FROM track WHERE NOT is_virtual AND path IN (@VARN:NEVAR)";

constexpr const char kStars[] =
    "SELECT s.song, s.number, r.userid, r.star FROM (SELECT id, id AS song, -1 AS number FROM track"
    " WHERE id = ANY ('{@VARN:NEVAR}') UNION ALL SELECT v.id, i.file_track, v.track"
    " FROM virtual_info_track i JOIN track v ON v.id = i.track"
    " WHERE i.file_track = ANY ('{@VARN:NEVAR}')) s"
    " JOIN rating_track r ON r.track = s.id WHERE r.star > 0 ORDER BY r.userid";

constexpr const char kRecordsOf[] =
    "SELECT path, -1 AS number FROM track WHERE id = ANY ('{@VARN:NEVAR}') UNION ALL"
    " SELECT v.path, v.track FROM virtual_info_track i JOIN track v ON v.id = i.track"
    " WHERE i.file_track = ANY ('{@VARN:NEVAR}')";

// What there may be of records at a path.
struct Place {
    int id = 0;             // the row that is there; 0: none
    std::set<int> numbers;  // of tracks
};

using PlacesByPath = std::map<std::string, Place>;
using StarsOfRows = std::map<std::pair<int, int>, std::vector<Star>>;  // by id and number

PlacesByPath PlacesOf(Database &database, const std::vector<MovedSong> &songs) {
    PlacesByPath places;
    std::string paths;
    for (const MovedSong &song : songs) {
        for (const std::string *path : {&song.from, &song.to}) {
            places[*path].numbers.insert(song.numbers.begin(), song.numbers.end());
        }
        paths += (paths.empty() ? "" : ",") + Made(varn::Sql("'@VARN:VAR'", song.from));
    }
    const Rows rows = database.Query(Made(varn::Sql(kRowsAt, paths)));
    for (int row = 0; row < rows.Count(); ++row) {
        places.at(rows.Field(row, "path")).id = static_cast<int>(rows.Number(row, "id"));
    }
    // Another row may be there yet that is going to leave.
    for (const MovedSong &song : songs) {
        places.at(song.to).id = song.id;
    }
    return places;
}

StarsOfRows StarsAt(Database &database, const PlacesByPath &places) {
    std::string ids;
    for (const auto &[path, place] : places) {
        if (place.id != 0) {  // which tracks have that lost their file
            ids += (ids.empty() ? "" : ",") + std::to_string(place.id);
        }
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

std::vector<std::string> MoveRecords(Database &database, const std::vector<MovedSong> &songs) {
    std::vector<std::string> problems;
    if (songs.empty()) {
        return problems;
    }
    const PlacesByPath places = PlacesOf(database, songs);
    StarsOfRows stars = StarsAt(database, places);
    for (const auto &[path, place] : places) {
        BringInStep(path, stars[{place.id, kWhole}], problems);
        for (const int number : place.numbers) {
            BringInStep(TrackRecordPath(path, number), stars[{place.id, number}], problems);
        }
    }
    return problems;
}

std::vector<std::string> RemoveRecords(Database &database, const std::string &ids) {
    std::vector<std::string> problems;
    const Rows rows = database.Query(Made(varn::Sql(kRecordsOf, ids, ids)));
    for (int row = 0; row < rows.Count(); ++row) {
        const std::string path = rows.Field(row, "path");
        const int number = static_cast<int>(rows.Number(row, "number"));
        if (IsGone(path)) {
            BringInStep(number == kWhole ? path : TrackRecordPath(path, number), {}, problems);
        }
    }
    return problems;
}

}  // namespace varnindex
