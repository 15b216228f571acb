#include "varnindex/compare/known.h"

#include <string_view>

#include "varn/number.h"
#include "varn/sql.h"

namespace varnindex {
namespace {

// The cursor outlives its transaction, so that the batches of the scan can commit while it is read.
// ^@ is "begins with": no character of a path means anything to it.
constexpr const char kDeclare[] =
    "DECLARE known_file NO SCROLL CURSOR WITH HOLD FOR SELECT *,"
    " extract(epoch FROM mdate) AS seconds FROM ("
    " SELECT id, path, filesize, mdate, userid, sheet_stamp, has_virtual, fingerprint,"
    " false AS is_list, 0 AS contents FROM track WHERE NOT is_virtual AND (@VARN:NEVAR)"
    " UNION ALL SELECT id, path, 0, mdate, userid, 0, false, NULL, true, COALESCE(contents, 0)"
    " FROM (SELECT id, path, mdate, 0 AS userid FROM playlist UNION ALL"
    " SELECT id, path, mdate, userid FROM personal_playlist) l"
    " LEFT JOIN list_contents USING (id) WHERE @VARN:NEVAR"
    ") f ORDER BY path COLLATE \"C\", id";
// From one owner of songs to the next one in the index, which has each of them many times.
constexpr const char kOwners[] =
    "WITH RECURSIVE owner AS (SELECT min(userid) AS userid FROM track UNION ALL SELECT"
    " (SELECT min(t.userid) FROM track t WHERE t.userid > o.userid) FROM owner o"
    " WHERE o.userid IS NOT NULL) SELECT userid FROM owner WHERE userid IS NOT NULL"
    " UNION SELECT userid FROM personal_directory UNION SELECT userid FROM personal_playlist";

constexpr const char kFetch[] = "FETCH 5000 FROM known_file";
constexpr int kBlock = 5000;  // of kFetch

// The server writes seconds with six digits after the dot.
std::int64_t Microseconds(std::string_view seconds) {
    std::string digits(seconds);
    std::erase(digits, '.');
    return varn::LeadingNumber<std::int64_t>(digits);
}

KnownRow RowOf(const varn::Row &from) {
    KnownRow row;
    row.id = static_cast<int>(from.Number("id"));
    row.path = from.Text("path");
    row.size = from.Number("filesize");
    row.modified = Microseconds(from.Text("seconds"));
    row.userid = static_cast<unsigned>(from.Number("userid"));
    row.sheetStamp = from.Number("sheet_stamp");
    if (*from.Text("fingerprint") != '\0') {
        row.fingerprint = from.Number("fingerprint");
    }
    row.contents = from.Number("contents");
    row.isSplit = *from.Text("has_virtual") == 't';
    row.isList = *from.Text("is_list") == 't';
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
                   " UNION ALL SELECT path FROM personal_playlist) t WHERE " +
                   ScopeCondition(Scope({path}), true) + " LIMIT 1")
               .Count() > 0;
}

std::vector<unsigned> OwnersOfRows(Database &database) {
    std::vector<unsigned> owners;
    for (const varn::Row row : database.Query(kOwners)) {
        owners.push_back(static_cast<unsigned>(row.Number("userid")));
    }
    return owners;
}

void KnownRows::Ask() {
    const std::string condition = ScopeCondition(scope_, false);
    std::string sql = Made(varn::Sql(kDeclare, condition, condition)) + ";" + kFetch;
    asked_ = std::async(std::launch::async,
                        [this, sql = std::move(sql)] { return database_.Query(sql); });
}

KnownRow *KnownRows::Front() {
    if (!front_ && Fetch()) {
        front_.emplace(RowOf((*block_)[next_++]));
    }
    return front_ ? &*front_ : nullptr;
}

// False at the end: a block that is not full is the last one.
bool KnownRows::Fetch() {
    if (asked_.valid()) {
        block_.emplace(asked_.get());
    } else if (next_ < block_->Count() || block_->Count() < kBlock) {
        return next_ < block_->Count();
    } else {
        block_.emplace(database_.Query(kFetch));
    }
    next_ = 0;
    if (block_->Count() < kBlock) {
        database_.Execute("CLOSE known_file");
    }
    return block_->Count() > 0;
}

}  // namespace varnindex
