#include "varnindex/write/folder_rows.h"

#include <utility>

#include "varn/path.h"
#include "varn/sql.h"
#include "varnindex/observe/file_names.h"
#include "varnindex/read/names.h"

namespace varnindex {
namespace {

constexpr const char kInsert[] =
    "INSERT INTO directory (path, title) SELECT DISTINCT path, title FROM noted_folder n"
    " WHERE userid = 0 AND NOT EXISTS (SELECT FROM directory d WHERE d.path = n.path)"
    " ORDER BY path;"
    "INSERT INTO personal_directory (userid, path, title) SELECT DISTINCT userid, path, title"
    " FROM noted_folder n WHERE userid <> 0 AND NOT EXISTS (SELECT FROM personal_directory d"
    " WHERE (d.userid, d.path) = (n.userid, n.path)) ORDER BY userid, path;";

// Of the scope, and above it the folders in which nothing is left.
constexpr const char kDelete[] =
    "DELETE FROM directory d WHERE NOT EXISTS (SELECT FROM noted_folder n WHERE n.path = d.path"
    " AND n.userid = 0) AND @VARN:NEVAR;"
    "DELETE FROM personal_directory d WHERE NOT EXISTS (SELECT FROM noted_folder n"
    " WHERE (n.userid, n.path) = (d.userid, d.path)) AND @VARN:NEVAR;";
constexpr const char kDeleteEmpty[] =
    "DELETE FROM @VARN:NEVARdirectory d WHERE (@VARN:NEVAR) AND NOT EXISTS"
    " (SELECT FROM track t WHERE t.path ^@ (rtrim(d.path, '/') || '/') AND t.userid = @VARN:NEVAR)"
    " AND NOT EXISTS (SELECT FROM @VARN:NEVARplaylist l"
    " WHERE l.path ^@ (rtrim(d.path, '/') || '/'));";

// A user's rows stay in a home that is nobody's, where the account is gone.
bool MayHaveRows(unsigned userid, const OwnedFolder &folder) {
    return folder.userid == userid || (folder.userid == kNobody && userid != 0);
}

}  // namespace

// What the last folder and this one of the same owner have above them in common is noted already.
void FolderRows::NoteFile(const std::string &path, unsigned userid) {
    std::string folder = varn::FolderOf(path);
    if ((folder == lastFolder_ && userid == lastOwner_) || userid == kNobody) {
        return;
    }
    const std::string last = std::exchange(lastFolder_, folder) + "/";
    const bool isSameOwner = std::exchange(lastOwner_, userid) == userid;
    for (;; folder = varn::FolderOf(folder)) {
        const OwnedFolder *const configured = folders_.Of(folder);
        if (configured == nullptr || !MayHaveRows(userid, *configured) ||
            (isSameOwner && last.starts_with(folder + "/"))) {
            return;
        }
        noted_.Add(userid, folder, CleanName(NameOf(folder)));
        if (folder == "/") {
            return;
        }
    }
}

// As a condition; "" where the scope has none above it.
std::string FolderRows::FoldersAbove(const Scope &scope) const {
    std::string condition;
    for (std::string folder : scope.folders.value_or(std::vector<std::string>())) {
        const OwnedFolder *const configured = folders_.Of(folder);
        while (configured != nullptr && folder != configured->path) {
            folder = varn::FolderOf(folder);
            condition += condition.empty() ? "" : " OR ";
            condition += Made(varn::Sql("path = '@VARN:VAR'", folder));
        }
    }
    return condition;
}

void FolderRows::Store(const Scope &scope, bool purge) {
    noted_.Make();
    noted_.Flush();
    std::string shared = "(" + ScopeCondition(scope, true) + ")";
    for (const std::string &kept : kept_) {
        shared += Made(varn::Sql(" AND NOT (d.path || '/') ^@ '@VARN:VAR'", kept));
    }
    std::string personal = shared;
    if (!purge) {
        shared += folders_.IsUnseen(0) ? " AND false" : "";
        personal += " AND NOT " + folders_.UnseenCondition();
    }
    std::string sql = kInsert + Made(varn::Sql(kDelete, shared, personal));
    if (const std::string above = FoldersAbove(scope); !above.empty()) {
        sql += Made(varn::Sql(kDeleteEmpty, "", above, "0", ""));
        sql += Made(varn::Sql(kDeleteEmpty, "personal_", above, "d.userid", "personal_"));
    }
    database_.Execute(sql);
}

}  // namespace varnindex
