#include "varnindex/write/folder_rows.h"

#include <utility>

#include "varn/sql.h"
#include "varnindex/hash.h"
#include "varnindex/observe/file_names.h"
#include "varnindex/read/names.h"
#include "varnindex/write/copy_rows.h"

namespace varnindex {
namespace {

constexpr int kBlock = 5000;

constexpr const char kFolders[] =
    "SELECT id, path, userid, (@VARN:NEVAR) AS is_in_scope FROM (SELECT id, path, 0 AS userid"
    " FROM directory UNION ALL SELECT id, path, userid FROM personal_directory) d"
    " WHERE id > @VARN:INT AND (@VARN:NEVAR) ORDER BY id LIMIT @VARN:INT";

constexpr const char kInsert[] =
    "INSERT INTO directory (path, title) SELECT path, title FROM new_folder WHERE userid = 0"
    " ORDER BY path;"
    "INSERT INTO personal_directory (userid, path, title) SELECT userid, path, title"
    " FROM new_folder WHERE userid <> 0 ORDER BY path";

// Folders above the scope, in which nothing is left.
constexpr const char kRemoveEmpty[] =
    "DELETE FROM @VARN:NEVARdirectory d WHERE id = ANY ('{@VARN:NEVAR}') AND NOT EXISTS"
    " (SELECT FROM track t WHERE t.path ^@ (rtrim(d.path, '/') || '/') AND t.userid = @VARN:NEVAR)"
    " AND NOT EXISTS (SELECT FROM @VARN:NEVARplaylist l WHERE l.path ^@ (rtrim(d.path, '/') || "
    "'/'))";

std::int64_t KeyOf(const std::string &path, unsigned userid) {
    return Hasher().Add(path).Add(static_cast<std::int64_t>(userid)).Value();
}

// A user's rows stay in a home that is nobody's, where the account is gone.
bool MayHaveRows(unsigned userid, const OwnedFolder &folder) {
    return folder.userid == userid || (folder.userid == kNobody && userid != 0);
}

}  // namespace

FolderRows::FolderRows(Database &database, const Folders &folders)
    : database_(database),
      folders_(folders),
      addedTable_(database, "new_folder", "userid integer, path text, title text") {}

void FolderRows::Load(const Scope &scope) {
    const std::string isInScope = ScopeCondition(scope, true);
    std::string condition = isInScope;
    for (std::string folder : scope.folders.value_or(std::vector<std::string>())) {
        const OwnedFolder *const configured = folders_.Of(folder);
        while (configured != nullptr && folder != configured->path) {
            folder = FolderOf(folder);
            condition += Made(varn::Sql(" OR path = '@VARN:VAR'", folder));
        }
    }
    int count = kBlock;
    for (int last = 0; count == kBlock;) {
        const Rows rows =
            database_.Query(Made(varn::Sql(kFolders, isInScope, last, condition, kBlock)));
        count = rows.Count();
        for (int row = 0; row < count; ++row) {
            last = static_cast<int>(rows.Number(row, "id"));
            const auto userid = static_cast<unsigned>(rows.Number(row, "userid"));
            rows_[KeyOf(rows.Field(row, "path"), userid)] = {
                last, *rows.Field(row, "is_in_scope") == 't'};
        }
    }
}

void FolderRows::NoteFile(const std::string &path, unsigned userid) {
    const std::string folder = FolderOf(path);
    if ((folder != lastFolder_ || userid != lastOwner_) && userid != kNobody) {
        NoteFolder(folder, userid);
    }
}

// What the last folder and this one of the same owner have above them in common is noted already.
void FolderRows::NoteFolder(const std::string &path, unsigned userid) {
    const std::string last = std::exchange(lastFolder_, path) + "/";
    const bool isSameOwner = std::exchange(lastOwner_, userid) == userid;
    for (std::string folder = path;; folder = FolderOf(folder)) {
        const OwnedFolder *const configured = folders_.Of(folder);
        if (configured == nullptr || !MayHaveRows(userid, *configured) ||
            (isSameOwner && last.starts_with(folder + "/"))) {
            return;
        }
        const std::int64_t key = KeyOf(folder, userid);
        if (const auto row = rows_.find(key); row != rows_.end()) {
            row->second.isNoted = true;
        } else if (added_.insert(key).second) {
            addedTable_.Add(std::to_string(userid) + '\t' + Escaped(folder) + '\t' +
                            Escaped(CleanName(NameOf(folder))));
        }
        if (folder == "/") {
            return;
        }
    }
}

bool FolderRows::IsKept(const std::string &path) const {
    const std::string folder = path + "/";
    for (std::size_t end = 0; (end = folder.find('/', end)) != folder.npos;) {
        if (kept_.contains(folder.substr(0, ++end))) {
            return true;
        }
    }
    return false;
}

std::vector<int> FolderRows::Unnoted(bool isInScope) const {
    std::vector<int> ids;
    for (const auto &[key, row] : rows_) {
        if (!row.isNoted && row.isInScope == isInScope) {
            ids.push_back(row.id);
        }
    }
    return ids;
}

// False when all of them stay.
bool FolderRows::RemoveUnnoted(bool purge) {
    std::vector<int> removed;
    const std::string condition = "id = ANY ('{" + IdList(Unnoted(true)) + "}')";
    int count = kBlock;
    for (int last = 0; count == kBlock;) {
        const Rows rows =
            database_.Query(Made(varn::Sql(kFolders, "true", last, condition, kBlock)));
        count = rows.Count();
        for (int row = 0; row < count; ++row) {
            last = static_cast<int>(rows.Number(row, "id"));
            const auto userid = static_cast<unsigned>(rows.Number(row, "userid"));
            if ((purge || !folders_.IsUnseen(userid)) && !IsKept(rows.Field(row, "path"))) {
                removed.push_back(last);
            }
        }
    }
    const std::string list = " WHERE id = ANY ('{" + IdList(removed) + "}')";
    return !removed.empty() && database_.Execute("DELETE FROM directory" + list) +
                                       database_.Execute("DELETE FROM personal_directory" + list) >
                                   0;
}

void FolderRows::Store(bool purge) {
    const bool isAnyNew = addedTable_.Flush();
    if (!isAnyNew && Unnoted(true).empty()) {
        return;
    }
    Transaction transaction(database_);
    if (isAnyNew) {
        database_.Execute(kInsert);
    }
    if (RemoveUnnoted(purge)) {
        const std::string above = IdList(Unnoted(false));
        database_.Execute(Made(varn::Sql(kRemoveEmpty, "", above, "0", "")));
        database_.Execute(
            Made(varn::Sql(kRemoveEmpty, "personal_", above, "d.userid", "personal_")));
    }
    transaction.Commit();
}

}  // namespace varnindex
