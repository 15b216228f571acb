#include "varnindex/compare/known.h"

#include "varn/sql.h"

namespace varnindex {
namespace {

// The cursor outlives its transaction, so that the batches of the scan can commit while it is read.
// ^@ is "begins with": no character of a path means anything to it.
constexpr const char kDeclare[] =
    "DECLARE known_file NO SCROLL CURSOR WITH HOLD FOR SELECT *,"
    " (extract(epoch FROM mdate) * 1000000)::bigint AS modified FROM ("
    " SELECT id, path, filesize, mdate, userid, sheet_stamp, has_virtual, fingerprint,"
    " false AS is_list, 0 AS contents"
    " FROM track WHERE NOT is_virtual AND (@VARN:NEVAR) UNION ALL"
    " SELECT id, path, 0, mdate, 0, 0, false, NULL, true, COALESCE(contents, 0) FROM playlist LEFT "
    "JOIN "
    "list_contents USING (id) WHERE @VARN:NEVAR UNION ALL"
    " SELECT id, path, 0, mdate, userid, 0, false, NULL, true, COALESCE(contents, 0)"
    " FROM personal_playlist LEFT JOIN list_contents USING (id) WHERE @VARN:NEVAR"
    ") f ORDER BY path COLLATE \"C\", id";
// From one owner of songs to the next one in the index, which has each of them many times.
constexpr const char kOwners[] =
    "WITH RECURSIVE owner AS (SELECT min(userid) AS userid FROM track UNION ALL SELECT"
    " (SELECT min(t.userid) FROM track t WHERE t.userid > o.userid) FROM owner o"
    " WHERE o.userid IS NOT NULL) SELECT userid FROM owner WHERE userid IS NOT NULL"
    " UNION SELECT userid FROM personal_directory UNION SELECT userid FROM personal_playlist";

constexpr const char *kFetch = "FETCH 5000 FROM known_file";

}  // namespace

std::string ScopeCondition(const Scope &scope, bool alsoFolders) {
    if (!scope.folders) {
        return "true";
    }
    std::string condition = "false";
    for (const std::string &folder : *scope.folders) {
        const std::string prefix = folder == "/" ? folder : folder + "/";
        condition += Made(varn::Sql(" OR path ^@ '@VARN:VAR'", prefix));
        if (alsoFolders) {
            condition += Made(varn::Sql(" OR path = '@VARN:VAR'", folder));
        }
    }
    return condition;
}

bool HasRows(Database &database, const std::string &path) {
    return database
               .Query(
                   "SELECT FROM (SELECT path FROM track UNION ALL SELECT path FROM directory"
                   " UNION ALL SELECT path FROM personal_directory"
                   " UNION ALL SELECT path FROM playlist"
                   " UNION ALL SELECT path FROM personal_playlist"
                   " UNION ALL SELECT path FROM unreadable_file) t WHERE " +
                   ScopeCondition(Scope({path}), true) + " LIMIT 1")
               .Count() > 0;
}

std::vector<unsigned> OwnersOfRows(Database &database) {
    const Rows rows = database.Query(kOwners);
    std::vector<unsigned> owners;
    for (int row = 0; row < rows.Count(); ++row) {
        owners.push_back(static_cast<unsigned>(rows.Number(row, "userid")));
    }
    return owners;
}

KnownRows::KnownRows(Database &database, const Scope &scope) : database_(database) {
    Transaction transaction(database_);
    const std::string condition = ScopeCondition(scope, false);
    database_.Execute(Made(varn::Sql(kDeclare, condition, condition, condition)));
    transaction.Commit();
}

// A connection that is lost has no cursor any more.
KnownRows::~KnownRows() {
    try {
        database_.Execute("CLOSE known_file");
    } catch (const std::exception &) {
    }
}

KnownRow *KnownRows::Front() {
    if (!front_ && !ended_) {
        Fetch();
    }
    return front_ ? &*front_ : nullptr;
}

void KnownRows::Pop() {
    front_.reset();
}

void KnownRows::Fetch() {
    if (!block_ || next_ == block_->Count()) {
        block_.emplace(database_.Query(kFetch));
        next_ = 0;
    }
    if (block_->Count() == 0) {
        ended_ = true;
        return;
    }
    KnownRow &row = front_.emplace();
    row.id = static_cast<int>(block_->Number(next_, "id"));
    row.path = block_->Field(next_, "path");
    row.size = block_->Number(next_, "filesize");
    row.modified = block_->Number(next_, "modified");
    row.userid = static_cast<unsigned>(block_->Number(next_, "userid"));
    row.sheetStamp = block_->Number(next_, "sheet_stamp");
    if (*block_->Field(next_, "fingerprint") != '\0') {
        row.fingerprint = block_->Number(next_, "fingerprint");
    }
    row.contents = block_->Number(next_, "contents");
    row.isSplit = *block_->Field(next_, "has_virtual") == 't';
    row.isList = *block_->Field(next_, "is_list") == 't';
    ++next_;
}

}  // namespace varnindex
