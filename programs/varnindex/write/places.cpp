#include "varnindex/write/places.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "varn/sql.h"
#include "varnindex/read/names.h"
#include "varnindex/write/copy_rows.h"
#include "varnindex/write/moved_lists.h"

namespace varnindex {
namespace {

constexpr std::size_t kFullBytes = 1U << 20;

constexpr const char kCreate[] =
    "CREATE TEMP TABLE found_place (is_list boolean, userid integer, path text, title text,"
    " album text, mdate timestamp, contents bigint);"
    "CREATE TEMP TABLE kept_place (path text);"
    "CREATE TEMP TABLE kept_list (id integer);"
    "CREATE TEMP TABLE known_list AS SELECT * FROM"
    " (SELECT id, path, 0 AS userid, mdate FROM playlist UNION ALL"
    " SELECT id, path, userid, mdate FROM personal_playlist) l LEFT JOIN list_contents USING (id);"
    "CREATE TEMP TABLE gone_list (id integer, emptied integer);"
    "CREATE TEMP TABLE moved_list (id integer, emptied integer, old text, new text)";

constexpr const char kCopyFound[] =
    "COPY found_place (is_list, userid, path, title, album, mdate, contents) FROM STDIN";
constexpr const char kCopyKept[] = "COPY kept_place (path) FROM STDIN";
constexpr const char kCopyKeptLists[] = "COPY kept_list (id) FROM STDIN";
constexpr const char kCopyGone[] = "COPY gone_list (id, emptied) FROM STDIN";

// Two roots may note the same folder above them.
constexpr const char kPrepare[] =
    "CREATE TEMP TABLE place AS SELECT DISTINCT ON (is_list, userid, path) * FROM found_place"
    " ORDER BY is_list, userid, path, mdate;"
    "ANALYZE place";
constexpr const char kForgetContents[] =
    "DELETE FROM list_contents c WHERE NOT EXISTS (SELECT FROM playlist t WHERE t.id = c.id)"
    " AND NOT EXISTS (SELECT FROM personal_playlist t WHERE t.id = c.id) OR EXISTS"
    " (SELECT FROM known_list JOIN place p USING (path, userid) WHERE known_list.id = c.id"
    " AND p.is_list AND p.contents IS NULL)";
constexpr const char kStoreContents[] =
    "INSERT INTO list_contents SELECT t.id, p.contents FROM (SELECT id, path, 0 AS userid FROM"
    " playlist UNION ALL SELECT id, path, userid FROM personal_playlist) t"
    " JOIN place p USING (path, userid) WHERE p.is_list AND p.contents IS NOT NULL"
    " AND NOT EXISTS (SELECT FROM list_contents c WHERE c.id = t.id AND c.contents = p.contents)"
    " ON CONFLICT (id) DO UPDATE SET contents = excluded.contents";
constexpr const char kRemoveEmpty[] =
    "DELETE FROM @VARN:NEVARdirectory WHERE path = '@VARN:VAR'@VARN:NEVAR AND NOT EXISTS"
    " (SELECT FROM track WHERE path ^@ '@VARN:VAR' AND userid = @VARN:INT) AND NOT EXISTS"
    " (SELECT FROM @VARN:NEVARdirectory WHERE path ^@ '@VARN:VAR'@VARN:NEVAR) AND NOT EXISTS"
    " (SELECT FROM @VARN:NEVARplaylist WHERE path ^@ '@VARN:VAR'@VARN:NEVAR)";
constexpr const char kDropPrepared[] =
    "DROP TABLE place;"
    "DROP TABLE found_place, kept_place, kept_list, known_list, gone_list, moved_list";

// One of the four tables. The shared ones have no owner.
struct Table {
    const char *name;
    bool isList;
    bool isPersonal;
};
constexpr Table kTables[] = {{"directory", false, false},
                             {"personal_directory", false, true},
                             {"playlist", true, false},
                             {"personal_playlist", true, true}};

// The wanted rows of a table, as "p".
std::string Wanted(const Table &table) {
    return std::string(table.isList ? "p.is_list" : "NOT p.is_list") + " AND p.userid " +
           (table.isPersonal ? "<> 0" : "= 0");
}

std::string SameRow(const Table &table) {
    return table.isPersonal ? "p.path = t.path AND p.userid = t.userid" : "p.path = t.path";
}

// The shared tables have no column for their owner.
std::string DeleteSql(const Table &table, const std::string &scope, const std::string &unseen) {
    const char *const owner = table.isPersonal ? "userid" : "0 AS userid";
    return std::string("DELETE FROM ") + table.name +
           " WHERE id IN (SELECT id FROM (SELECT id, path, " + owner + " FROM " + table.name +
           ") t WHERE (" + scope + ") AND NOT " + unseen +
           // What the library has made or renamed since the scan began may have been walked past.
           (table.isList ? " AND (id, path) IN (SELECT id, path FROM known_list)"
                           " AND NOT EXISTS (SELECT FROM kept_list k WHERE k.id = t.id)"
                         : "") +
           " AND NOT EXISTS (SELECT FROM place p WHERE " + Wanted(table) +
           " AND p.path = t.path AND p.userid = t.userid)"
           // Apart, because an OR of the two would look at each pair of rows.
           " AND NOT EXISTS (SELECT FROM kept_place k WHERE k.path = t.path)"
           " AND NOT EXISTS (SELECT FROM kept_place k WHERE k.path LIKE '%/'"
           " AND t.path || '/' ^@ k.path))";
}

// A row keeps its id and date; that a list has changed is told by its time.
std::string UpdateSql(const Table &table) {
    return std::string("UPDATE ") + table.name +
           " t SET title = p.title, album = p.album, mdate = p.mdate" +
           (table.isPersonal ? ", updated = true" : "") + " FROM place p WHERE " + Wanted(table) +
           " AND " + SameRow(table) +
           " AND (t.title, t.album, t.mdate) IS DISTINCT FROM (p.title, p.album, p.mdate)";
}

std::string InsertSql(const Table &table) {
    const std::string columns = std::string(table.isPersonal ? "userid, " : "") + "path, title" +
                                (table.isList ? ", album, mdate" : "");
    return std::string("INSERT INTO ") + table.name + " (" + columns + ") SELECT " + columns +
           " FROM place p WHERE " + Wanted(table) + " AND NOT EXISTS (SELECT FROM " + table.name +
           " t WHERE " + SameRow(table) + ") ORDER BY path";
}

bool IsGone(const std::string &path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

// A user's rows stay in a home that is nobody's, where the account is gone.
bool MayHaveRows(unsigned userid, const OwnedFolder &folder) {
    return folder.userid == userid || (folder.userid == kNobody && userid != 0);
}

std::string NameOf(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

std::string FolderOf(const std::string &path) {
    return path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
}

void AddField(std::string &rows, const std::string &text, char end) {
    AppendEscaped(rows, text);
    rows += end;
}

}  // namespace

Places::Places(Database &database, const Folders &folders)
    : database_(database), folders_(folders) {
    database_.Execute(kCreate);
}

void Places::NoteFile(const std::string &path, unsigned userid) {
    const std::string folder = FolderOf(path);
    if ((folder != lastFolder_ || userid != lastOwner_) && userid != kNobody) {
        NoteFolder(folder, userid);
    }
}

void Places::NoteList(const std::string &path, std::int64_t modified, unsigned userid,
                      std::int64_t contents) {
    NoteFile(path, userid);
    const std::string name = NameOf(path);
    rows_ += "t\t" + std::to_string(userid) + '\t';
    AddField(rows_, path, '\t');
    AddField(rows_, CleanName(name.substr(0, name.rfind('.'))), '\t');
    AddField(rows_, CleanName(NameOf(FolderOf(path))), '\t');
    rows_ += Timestamp(modified) + '\t' +
             (contents != 0 ? std::to_string(contents) : std::string("\\N")) + '\n';
    FlushIfFull();
}

void Places::NoteGoneList(int id, std::optional<std::size_t> emptied) {
    gone_ += std::to_string(id) + '\t' + (emptied ? std::to_string(*emptied) : "\\N") + '\n';
    FlushIfFull();
}

void Places::ForgetGoneLists(const std::vector<int> &ids) {
    std::string list;
    for (const int id : ids) {
        list += (list.empty() ? "" : ",") + std::to_string(id);
    }
    if (!list.empty()) {
        database_.Execute("DELETE FROM gone_list WHERE id = ANY ('{" + list + "}')");
    }
}

Rows Places::GoneLists() {
    return database_.Query(
        "SELECT id, path, userid, COALESCE(emptied, -1) AS emptied FROM gone_list"
        " JOIN known_list USING (id) ORDER BY path COLLATE \"C\"");
}

// What the last folder and this one of the same owner have above them in common is noted already.
void Places::NoteFolder(const std::string &path, unsigned userid) {
    const std::string last = std::exchange(lastFolder_, path) + "/";
    const bool isSameOwner = std::exchange(lastOwner_, userid) == userid;
    for (std::string folder = path;; folder = FolderOf(folder)) {
        const OwnedFolder *const configured = folders_.Of(folder);
        if (configured == nullptr || !MayHaveRows(userid, *configured) ||
            (isSameOwner && last.starts_with(folder + "/"))) {
            return;
        }
        rows_ += "f\t" + std::to_string(userid) + '\t';
        AddField(rows_, folder, '\t');
        AddField(rows_, CleanName(NameOf(folder)), '\t');
        rows_ += "\t\\N\t\\N\n";
        FlushIfFull();
        if (folder == "/") {
            return;
        }
    }
}

void Places::Keep(const std::string &path) {
    AddField(kept_, path, '\n');
    FlushIfFull();
}

void Places::KeepList(int id) {
    keptLists_ += std::to_string(id) + '\n';
    FlushIfFull();
}

void Places::FlushIfFull() {
    if (rows_.size() + kept_.size() + keptLists_.size() + gone_.size() >= kFullBytes) {
        Flush();
    }
}

void Places::Flush() {
    const auto copy = [this](const char *statement, std::string &rows) {
        if (!rows.empty()) {
            database_.CopyIn(statement, rows);
        }
        rows.clear();
    };
    copy(kCopyFound, rows_);
    copy(kCopyKept, kept_);
    copy(kCopyKeptLists, keptLists_);
    copy(kCopyGone, gone_);
}

// The library takes a list's file away first and then its row. So a row that it has deleted since
// the walk, and that was added again by this, has no file any more.
void Places::TakeBackDeleted(const std::string &table, const Rows &added) {
    for (int row = 0; row < added.Count(); ++row) {
        if (IsGone(added.Field(row, "path"))) {
            database_.Execute("DELETE FROM " + table + " WHERE id = " + added.Field(row, "id"));
        }
    }
}

// Folders above the given ones, in which nothing is left.
void Places::RemoveEmptyAbove(const std::vector<std::string> &scope) {
    for (const std::string &given : scope) {
        const OwnedFolder *configured = folders_.Of(given);
        for (std::string folder = given; configured != nullptr && folder != configured->path;) {
            folder = FolderOf(folder);
            const bool isPersonal = configured->userid != 0;
            const std::string owner =
                isPersonal ? " AND userid = " + std::to_string(configured->userid) : "";
            const std::string kind = isPersonal ? "personal_" : "";
            const std::string below = folder == "/" ? folder : folder + "/";
            if (database_.Execute(Made(varn::Sql(kRemoveEmpty, kind, folder, owner, below,
                                                 static_cast<int>(configured->userid), kind, below,
                                                 owner, kind, below, owner))) == 0) {
                break;
            }
        }
    }
}

void Places::Store(const Scope &scope, bool purge) {
    Flush();
    const std::string condition = ScopeCondition(scope, true);
    const std::string unseen = purge ? "false" : folders_.UnseenCondition();
    Transaction transaction(database_);
    database_.Execute(kPrepare);
    MoveLists(database_);
    for (const Table &table : kTables) {
        database_.Execute(DeleteSql(table, condition, unseen));
        if (table.isList) {
            database_.Execute(UpdateSql(table));
            TakeBackDeleted(table.name, database_.Query(InsertSql(table) + " RETURNING id, path"));
        } else {
            database_.Execute(InsertSql(table));
        }
    }
    RemoveEmptyAbove(scope.folders.value_or(std::vector<std::string>()));
    database_.Execute(kForgetContents);
    database_.Execute(kStoreContents);
    database_.Execute(kDropPrepared);
    transaction.Commit();
}

}  // namespace varnindex
