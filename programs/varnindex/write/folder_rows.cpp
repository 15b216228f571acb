#include "varnindex/write/folder_rows.h"

#include "varn/path.h"
#include "varn/sql.h"
#include "varnindex/hash.h"
#include "varnindex/observe/file_names.h"
#include "varnindex/read/names.h"

namespace varnindex {
namespace {

constexpr const char kInsert[] =
    "INSERT INTO directory (path, title) SELECT path, title FROM noted_folder n"
    " WHERE userid = 0 AND NOT EXISTS (SELECT FROM directory d WHERE d.path = n.path)"
    " ORDER BY path;"
    "INSERT INTO personal_directory (userid, path, title) SELECT userid, path, title"
    " FROM noted_folder n WHERE userid <> 0 AND NOT EXISTS (SELECT FROM personal_directory d"
    " WHERE (d.userid, d.path) = (n.userid, n.path)) ORDER BY userid, path;";

// Rows of the scope; kDeleteEmpty: those above it in which nothing is left.
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

constexpr const char kRows[] =
    "SELECT userid, path FROM (SELECT 0 AS userid, path FROM directory"
    " UNION SELECT userid, path FROM personal_directory) d WHERE ";

std::int64_t KeyOf(unsigned userid, std::string_view folder) {
    return Hasher().Add(folder).Add(static_cast<std::int64_t>(userid)).Value();
}

// A user's rows stay in a home that is nobody's, where the account is gone.
bool MayHaveRows(unsigned userid, const OwnedFolder &folder) {
    return folder.userid == userid || (folder.userid == kNobody && userid != 0);
}

}  // namespace

void FolderRows::NoteFile(const std::string &path, unsigned userid) {
    std::string folder = varn::FolderOf(path);
    if ((folder == lastFolder_ && userid == lastOwner_) || userid == kNobody) {
        return;
    }
    lastFolder_ = folder;
    lastOwner_ = userid;
    for (;; folder = varn::FolderOf(folder)) {
        const OwnedFolder *const configured = folders_.Of(folder);
        if (configured == nullptr || !MayHaveRows(userid, *configured) ||
            !keys_.insert(KeyOf(userid, folder)).second) {  // then those above are noted already
            return;
        }
        noted_.Add(userid, folder, CleanName(NameOf(folder)));
        if (folder == "/") {
            return;
        }
    }
}

// As a condition.
std::string FolderRows::FoldersAbove(const Scope &scope) const {
    std::string condition = "false";
    for (std::string folder : scope.folders.value_or(std::vector<std::string>())) {
        const OwnedFolder *const configured = folders_.Of(folder);
        while (configured != nullptr && folder != configured->path) {
            folder = varn::FolderOf(folder);
            condition += Made(varn::Sql(" OR path = '@VARN:VAR'", folder));
        }
    }
    return condition;
}

// True when the rows that meet the condition are those of the noted folders.
bool FolderRows::AreRowsOf(const std::string &condition) {
    const Rows rows = database_.Query(kRows + condition);
    for (const varn::Row row : rows) {
        const auto owner = static_cast<unsigned>(row.Number("userid"));
        if (!keys_.contains(KeyOf(owner, row.Text("path")))) {
            return false;
        }
    }
    return static_cast<std::size_t>(rows.Count()) == keys_.size();
}

void FolderRows::Store(const Scope &scope, bool purge) {
    const std::string inside = ScopeCondition(scope, true);
    const std::string above = FoldersAbove(scope);
    if (!noted_.IsMade() && AreRowsOf(inside + " OR " + above)) {
        return;  // as after most scans
    }
    noted_.Make();
    noted_.Flush();
    std::string shared = "(" + inside + ")";
    for (const std::string &kept : kept_) {
        shared += Made(varn::Sql(" AND NOT (d.path || '/') ^@ '@VARN:VAR'", kept));
    }
    std::string personal = shared;
    if (!purge) {
        shared += folders_.IsUnseen(0) ? " AND false" : "";
        personal += " AND NOT " + folders_.UnseenCondition();
    }
    database_.Execute(kInsert + Made(varn::Sql(kDelete, shared, personal)) +
                      Made(varn::Sql(kDeleteEmpty, "", above, "0", "")) +
                      Made(varn::Sql(kDeleteEmpty, "personal_", above, "d.userid", "personal_")));
}

}  // namespace varnindex
