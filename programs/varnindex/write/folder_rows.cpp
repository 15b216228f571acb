#include "varnindex/write/folder_rows.h"

#include <algorithm>
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

constexpr const char kRemoveEmpty[] =
    "DELETE FROM @VARN:NEVARdirectory WHERE path = '@VARN:VAR'@VARN:NEVAR AND NOT EXISTS"
    " (SELECT FROM track WHERE path ^@ '@VARN:VAR' AND userid = @VARN:INT) AND NOT EXISTS"
    " (SELECT FROM @VARN:NEVARdirectory WHERE path ^@ '@VARN:VAR'@VARN:NEVAR) AND NOT EXISTS"
    " (SELECT FROM @VARN:NEVARplaylist WHERE path ^@ '@VARN:VAR'@VARN:NEVAR)";

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
            row->second.isRemovable = false;
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

// Returns how many.
int FolderRows::RemoveOthers(bool purge) {
    std::vector<int> ids;
    for (const auto &[key, row] : rows_) {
        if (row.isRemovable) {
            ids.push_back(row.id);
        }
    }
    std::vector<int> removed;
    const std::string condition = "id = ANY ('{" + IdList(ids) + "}')";
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
    return removed.empty() ? 0
                           : database_.Execute("DELETE FROM directory" + list) +
                                 database_.Execute("DELETE FROM personal_directory" + list);
}

// Folders above the given ones, in which nothing is left.
void FolderRows::RemoveEmptyAbove(const std::vector<std::string> &scope) {
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

void FolderRows::Store(const Scope &scope, bool purge) {
    const bool isAnyNew = addedTable_.Flush();
    const bool isAnyLeft = std::any_of(rows_.begin(), rows_.end(),
                                       [](const auto &row) { return row.second.isRemovable; });
    if (!isAnyNew && !isAnyLeft) {
        return;
    }
    Transaction transaction(database_);
    if (isAnyNew) {
        database_.Execute(kInsert);
    }
    if (RemoveOthers(purge) > 0 && scope.folders) {
        RemoveEmptyAbove(*scope.folders);
    }
    transaction.Commit();
}

}  // namespace varnindex
