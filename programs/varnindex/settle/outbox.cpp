#include "varnindex/settle/outbox.h"

#include <sys/stat.h>

#include <cerrno>
#include <system_error>

#include "varn/sql.h"
#include "varnindex/read/names.h"
#include "varnindex/settle/shared_lists.h"
#include "varnindex/settle/stars.h"

namespace varnindex {
namespace {

// The paths of some lines, with what is known of them now. Paths without a song come first, because
// two paths may lead to one place. If several rows have a path for the moment, the one that has
// come there counts. A song that leaves a path, or comes to one, decides about the records of all
// numbers there.
constexpr const char kPlaces[] =
    "WITH due AS (SELECT * FROM outbox WHERE @VARN:NEVAR) SELECT place, number,"
    " bool_or(bool_or(is_move)) OVER (PARTITION BY place) AS is_move,"
    " EXISTS (SELECT FROM track t WHERE t.path = place AND NOT t.is_virtual) AS is_there,"
    " (SELECT string_agg(r.userid || '=' || r.star, E'\\n' ORDER BY r.userid) FROM rating_track r"
    " WHERE r.star > 0 AND r.track = (SELECT t.id FROM track t WHERE t.path = place"
    " AND CASE WHEN t.is_virtual THEN t.track ELSE -1 END = number"
    " ORDER BY t.id = max(song) DESC, t.id DESC LIMIT 1)) AS stars FROM"
    " (SELECT path AS place, number, 0 AS song, moved_to IS NOT NULL AS is_move FROM due UNION ALL"
    " SELECT moved_to, number, song, true FROM due WHERE moved_to IS NOT NULL) p"
    " GROUP BY place, number ORDER BY is_there";

bool IsGone(const std::string &path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) != 0 && errno == ENOENT;
}

void SettleRecords(Database &database, const std::string &condition, const LinkedFolders &library,
                   Reporter &reporter) {
    for (const varn::Row row : database.Query(Made(varn::Sql(kPlaces, condition)))) {
        const std::string path = row.Text("place");
        const int number = static_cast<int>(row.Number("number"));
        const bool isThere = *row.Text("is_there") == 't';
        // Where a link has taken a folder's place, the records are those of other songs.
        if ((!isThere && library.WayTo(path).links > 0) ||
            (*row.Text("is_move") != 't' && !IsGone(path))) {
            continue;
        }
        const std::string record = number < 0 ? path : TrackRecordPath(path, number);
        if (!StoreStars(record, ParseStars(row.Text("stars")))) {
            reporter.Warn(Printable(path) + ": its rating record cannot be kept: " +
                          std::generic_category().message(errno));
        }
    }
}

}  // namespace

void SettleOutbox(Database &database, const Scope &scope, const LinkedFolders &library,
                  Reporter &reporter) {
    const std::string own = "(" + ScopeCondition(scope, true) + ")";
    if (database.Query("SELECT FROM outbox WHERE " + own + " LIMIT 1").Count() > 0) {
        SettleSharedLists(database, own, reporter);
        SettleRecords(database, own, library, reporter);
        database.Execute("DELETE FROM outbox WHERE " + own);
    }
}

}  // namespace varnindex
