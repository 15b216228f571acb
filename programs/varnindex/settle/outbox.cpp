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

constexpr const char kNoteChanged[] =
    "INSERT INTO outbox (song, number, path, moved_to)"
    " SELECT id, CASE WHEN t.is_virtual THEN t.track ELSE -1 END, t.path, c.path"
    " FROM track t JOIN changed_track c USING (id) WHERE t.path <> c.path";

constexpr const char kNoteFollowing[] =
    "INSERT INTO outbox (song, number, path, moved_to) SELECT id, track, path, '@VARN:VAR'"
    " FROM track WHERE id = ANY ('{@VARN:NEVAR}') AND path <> '@VARN:VAR'";

constexpr const char kNoteRemoved[] =
    "INSERT INTO outbox (song, number, path) SELECT id,"
    " CASE WHEN is_virtual THEN track ELSE -1 END, path FROM track WHERE id IN"
    " (SELECT unnest('{@VARN:NEVAR}'::integer[]) UNION SELECT track FROM virtual_info_track"
    " WHERE file_track = ANY ('{@VARN:NEVAR}'))";

constexpr const char kNoteCopied[] =
    "INSERT INTO outbox (song, number, path, moved_to)"
    " SELECT o.id, CASE WHEN o.is_virtual THEN o.track ELSE -1 END, o.path, n.path"
    " FROM batch b JOIN track o ON o.id = b.old JOIN track n ON n.id = b.new";

// The paths of some lines with what is known of them now; those without a song first, because two
// paths may lead to one place. Of several rows that have a path for the moment, the one that has
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
                   std::vector<std::string> &problems) {
    for (const varn::Row row : database.Query(Made(varn::Sql(kPlaces, condition)))) {
        const std::string path = row.Text("place");
        const int number = static_cast<int>(row.Number("number"));
        const bool isThere = *row.Text("is_there") == 't';
        // The records of other songs are where a link has taken a folder's place.
        if ((!isThere && library.WayTo(path).links > 0) ||
            (*row.Text("is_move") != 't' && !IsGone(path))) {
            continue;
        }
        const std::string record = number < 0 ? path : TrackRecordPath(path, number);
        if (!StoreStars(record, ParseStars(row.Text("stars")))) {
            problems.push_back(Printable(path) + ": its rating record cannot be kept: " +
                               std::generic_category().message(errno));
        }
    }
}

}  // namespace

void NoteChanged(Database &database) {
    database.Execute(kNoteChanged);
}

void NoteFollowing(Database &database, const std::string &ids, const std::string &path) {
    database.Execute(Made(varn::Sql(kNoteFollowing, path, ids, path)));
}

void NoteRemoved(Database &database, const std::string &ids) {
    database.Execute(Made(varn::Sql(kNoteRemoved, ids, ids)));
}

void NoteCopied(Database &database) {
    database.Execute(kNoteCopied);
}

std::vector<std::string> SettleOutbox(Database &database, const Scope &scope,
                                      const LinkedFolders &library) {
    std::vector<std::string> problems;
    const std::string own = "(" + ScopeCondition(scope, true) + ")";
    if (database.Query("SELECT FROM outbox WHERE " + own + " LIMIT 1").Count() > 0) {
        SettleSharedLists(database, own, problems);
        SettleRecords(database, own, library, problems);
        database.Execute("DELETE FROM outbox WHERE " + own);
    }
    return problems;
}

}  // namespace varnindex
