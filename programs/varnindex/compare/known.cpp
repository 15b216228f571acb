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

constexpr int kBlock = 5000;

KnownRow RowOf(const Rows &rows, int at) {
    KnownRow row;
    row.id = static_cast<int>(rows.Number(at, "id"));
    row.path = rows.Field(at, "path");
    row.size = rows.Number(at, "filesize");
    row.modified = rows.Number(at, "modified");
    row.userid = static_cast<unsigned>(rows.Number(at, "userid"));
    row.sheetStamp = rows.Number(at, "sheet_stamp");
    if (*rows.Field(at, "fingerprint") != '\0') {
        row.fingerprint = rows.Number(at, "fingerprint");
    }
    row.contents = rows.Number(at, "contents");
    row.isSplit = *rows.Field(at, "has_virtual") == 't';
    row.isList = *rows.Field(at, "is_list") == 't';
    return row;
}

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

// A connection that is lost has no cursor any more.
KnownRows::~KnownRows() {
    try {
        if (block_) {
            database_.Execute("CLOSE known_file");
        }
    } catch (const std::exception &) {
    }
}

KnownRow *KnownRows::Front() {
    if (!front_ && Fetch()) {
        front_.emplace(RowOf(*block_, next_++));
    }
    return front_ ? &*front_ : nullptr;
}

// False at the end: a block that is not full is the last one.
bool KnownRows::Fetch() {
    if (!block_) {
        const std::string condition = ScopeCondition(scope_, false);
        database_.Execute(Made(varn::Sql(kDeclare, condition, condition, condition)));
    } else if (next_ < block_->Count() || block_->Count() < kBlock) {
        return next_ < block_->Count();
    }
    block_.emplace(database_.Query("FETCH " + std::to_string(kBlock) + " FROM known_file"));
    next_ = 0;
    return block_->Count() > 0;
}

}  // namespace varnindex
