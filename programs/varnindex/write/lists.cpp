#include "varnindex/write/lists.h"

#include <json/writer.h>

#include "varn/path.h"
#include "varn/playlistsvc.h"
#include "varn/sql.h"
#include "varnindex/descriptor.h"
#include "varnindex/hash.h"
#include "varnindex/observe/file_names.h"
#include "varnindex/read/names.h"
#include "varnindex/write/copy_rows.h"

namespace varnindex {
namespace {

constexpr const char kMoved[] =
    "CREATE TEMP TABLE moved_list (id integer PRIMARY KEY, old text, new text)";

// Both sides are numbered among those that cannot be told apart, so that each is taken once.
constexpr const char kFindMoved[] =
    "INSERT INTO moved_list SELECT g.id, g.path, f.path FROM"
    " (SELECT id, path, userid, contents, key, row_number() OVER"
    " (PARTITION BY userid, contents, key ORDER BY path COLLATE \"C\") AS number"
    " FROM gone_list t, LATERAL (SELECT @VARN:NEVAR AS key) k WHERE contents <> 0"
    " AND NOT EXISTS (SELECT FROM moved_list m WHERE m.id = t.id)) g"
    " JOIN (SELECT path, userid, contents, key, row_number() OVER"
    " (PARTITION BY userid, contents, key ORDER BY path COLLATE \"C\") AS number"
    " FROM found_list t, LATERAL (SELECT @VARN:NEVAR AS key) k WHERE is_new"
    " AND contents <> 0 AND NOT EXISTS (SELECT FROM moved_list m WHERE m.new = t.path)) f"
    " USING (userid, contents, key, number)";
constexpr const char *kKeys[] = {"regexp_replace(path, '^.*/', '')", "mdate::text"};

constexpr const char kNotMoved[] =
    "SELECT id, path, userid FROM gone_list g WHERE NOT EXISTS"
    " (SELECT FROM moved_list m WHERE m.id = g.id) ORDER BY path COLLATE \"C\"";

// A row that the library has changed since the scan began is left alone.
constexpr const char kMove[] =
    "WITH moved AS (UPDATE @VARN:NEVAR t SET path = m.new FROM moved_list m WHERE t.id = m.id"
    " AND t.path = m.old AND NOT EXISTS (SELECT FROM @VARN:NEVAR o WHERE o.path = m.new)"
    " RETURNING m.old, m.new) UPDATE playlist_sharing s SET path = moved.new FROM moved"
    " WHERE s.path = moved.old";
constexpr const char kRemove[] =
    "DELETE FROM @VARN:NEVAR t USING gone_list g WHERE t.id = g.id AND t.path = g.path";
constexpr const char kUpdate[] =
    "UPDATE @VARN:NEVAR t SET title = f.title, album = f.album, mdate = f.mdate@VARN:NEVAR"
    " FROM found_list f WHERE f.path = t.path AND @VARN:NEVAR"
    " AND (t.title, t.album, t.mdate) IS DISTINCT FROM (f.title, f.album, f.mdate)";
constexpr const char kInsert[] =
    "INSERT INTO @VARN:NEVAR (@VARN:NEVAR) SELECT @VARN:NEVAR FROM found_list f WHERE is_new"
    " AND @VARN:NEVAR AND NOT EXISTS (SELECT FROM @VARN:NEVAR t WHERE f.path = t.path"
    " AND @VARN:NEVAR) ORDER BY path";
constexpr const char kStoreContents[] =
    "DELETE FROM list_contents c WHERE NOT EXISTS (SELECT FROM playlist t WHERE t.id = c.id)"
    " AND NOT EXISTS (SELECT FROM personal_playlist t WHERE t.id = c.id);"
    "INSERT INTO list_contents SELECT t.id, f.contents FROM (SELECT id, path, 0 AS userid FROM"
    " playlist UNION ALL SELECT id, path, userid FROM personal_playlist) t"
    " JOIN found_list f USING (path, userid)"
    " ON CONFLICT (id) DO UPDATE SET contents = excluded.contents";

// The shared table has no owner.
struct Table {
    const char *name;
    const char *alsoSet;
    const char *columns;
    const char *isWanted;  // of the found list "f"
    const char *isSame;    // the owner of the found list "f" and of the row "t"
};
constexpr Table kTables[] = {
    {"playlist", "", "path, title, album, mdate", "f.userid = 0", "f.userid = 0"},
    {"personal_playlist", ", updated = true", "userid, path, title, album, mdate", "f.userid <> 0",
     "f.userid = t.userid"}};

// A hash of what is in a list; 0 where that cannot be read, or may not be what was seen.
std::int64_t ContentsOf(const std::string &path, const SeenFile &seen) {
    struct stat info {};
    const Descriptor fd = OpenPlain(path, O_RDONLY, info);
    if (!fd || !seen.MayBe(info)) {
        return 0;
    }
    const std::optional<std::string> text = ReadWhole(fd, varn::kMostPlaylistBytes);
    return text ? Hasher().Add(*text).Add(static_cast<std::int64_t>(text->size())).Value() : 0;
}

// The criteria are stored and compared as text in this form.
std::string CriterionOf(const char *path) {
    return "\"path\":" + Json::valueToQuotedString(path);
}

void MovePins(Database &database) {
    std::string moved;
    for (const varn::Row list : database.Query("SELECT old, new FROM moved_list")) {
        moved += (moved.empty() ? "" : ",") +
                 Made(varn::Sql("('@VARN:VAR','@VARN:VAR')", CriterionOf(list.Text("old")),
                                CriterionOf(list.Text("new"))));
    }
    if (!moved.empty()) {
        database.Execute("UPDATE pin SET criteria = replace(criteria, m.old, m.new) FROM (VALUES " +
                         moved +
                         ") m (old, new) WHERE type = 'playlist'"
                         " AND position(m.old IN criteria) > 0");
    }
}

}  // namespace

Lists::Lists(Database &database, FolderRows &folders, Reporter &reporter)
    : database_(database),
      folders_(folders),
      reporter_(reporter),
      foundTable_(database, "found_list",
                  "is_new boolean, userid integer, path text, title text, album text,"
                  " mdate timestamp, contents bigint"),
      goneTable_(database, "gone_list",
                 "id integer, userid integer, path text, mdate timestamp, contents bigint") {}

RowCounts &Lists::CountsOf(const std::string &path) {
    return IsSheetName(path) ? sheets_ : playlists_;
}

void Lists::AddFound(const Work &work) {
    folders_.NoteFile(work.path, work.userid);
    RowCounts &counts = CountsOf(work.path);
    const bool isNew = work.known.id == 0;
    const bool isSame = !isNew && work.known.modified == work.modified;
    if (isSame) {
        ++counts.unchanged;
    } else if (isNew) {
        ++counts.added;
        if (reporter_.ListsChanges()) {
            added_.insert(work.path);
        }
    } else {
        reporter_.Tell("changed", work.path);
        ++counts.changed;
    }
    if (!isSame || work.known.contents == 0) {
        const std::string name = NameOf(work.path);
        foundTable_.Add(isNew, work.userid, work.path, CleanName(name.substr(0, name.rfind('.'))),
                        CleanName(NameOf(varn::FolderOf(work.path))), Timestamp(work.modified),
                        ContentsOf(work.path, work.seen));
    }
}

void Lists::AddGone(const KnownRow &row) {
    goneTable_.Add(row.id, row.userid, row.path, Timestamp(row.modified), row.contents);
}

void Lists::Settle(const Question &isBack, const Question &stays) {
    const bool isAnyFound = foundTable_.Flush();
    if (goneTable_.Flush()) {
        KeepWhere("SELECT id, path, userid FROM gone_list", [&](const KnownRow &list) {
            const bool isThere = isBack(list);
            CountsOf(list.path).unchanged += isThere ? 1 : 0;
            return isThere;
        });
        database_.Execute(kMoved);
        if (isAnyFound) {
            FindMoved();
        }
        KeepWhere(kNotMoved, [&](const KnownRow &list) {
            if (stays(list)) {
                return true;
            }
            reporter_.Tell("removed", list.path);
            ++CountsOf(list.path).removed;
            return false;
        });
    }
    for (const std::string &path : added_) {
        reporter_.Tell("added", path);
    }
}

// Takes the rows for which `stays` gives true out of those that are gone.
void Lists::KeepWhere(const char *rows, const Question &stays) {
    std::vector<int> kept;
    for (const varn::Row row : database_.Query(rows)) {
        KnownRow list;
        list.id = static_cast<int>(row.Number("id"));
        list.path = row.Text("path");
        list.userid = static_cast<unsigned>(row.Number("userid"));
        list.isList = true;
        if (stays(list)) {
            kept.push_back(list.id);
        }
    }
    if (!kept.empty()) {
        database_.Execute("DELETE FROM gone_list WHERE id = ANY ('{" + IdList(kept) + "}')");
    }
}

void Lists::FindMoved() {
    for (const char *key : kKeys) {
        database_.Execute(Made(varn::Sql(kFindMoved, key, key)));
    }
    for (const varn::Row row : database_.Query("SELECT new FROM moved_list ORDER BY new")) {
        const std::string path = row.Text("new");
        reporter_.Tell("moved to", path);
        added_.erase(path);
        --CountsOf(path).added;
        ++CountsOf(path).moved;
    }
}

void Lists::Store() {
    const bool isAnyFound = foundTable_.Flush();
    const bool isAnyGone = goneTable_.Flush();
    if (!isAnyFound && !isAnyGone) {
        return;
    }
    foundTable_.Make();
    Transaction transaction(database_);
    for (const auto &[name, alsoSet, columns, isWanted, isSame] : kTables) {
        if (isAnyGone) {
            database_.Execute(Made(varn::Sql(kMove, name, name)));
            database_.Execute(Made(varn::Sql(kRemove, name)));
        }
        database_.Execute(Made(varn::Sql(kUpdate, name, alsoSet, isSame)));
        database_.Execute(Made(varn::Sql(kInsert, name, columns, columns, isWanted, name, isSame)));
    }
    if (isAnyGone) {
        MovePins(database_);
    }
    database_.Execute(kStoreContents);
    transaction.Commit();
}

}  // namespace varnindex
