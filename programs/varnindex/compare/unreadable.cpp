#include "varnindex/compare/unreadable.h"

#include <cstddef>

#include "varn/sql.h"
#include "varnindex/hash.h"
#include "varnindex/write/copy_rows.h"

namespace varnindex {
namespace {

constexpr std::size_t kFullBytes = 1U << 20;

constexpr const char kCreate[] =
    "CREATE TEMP TABLE found_unreadable AS SELECT * FROM unreadable_file WITH NO DATA";
constexpr const char kCopy[] = "COPY found_unreadable (path, filesize, mdate) FROM STDIN";
constexpr const char kSelect[] =
    "SELECT path, filesize, (extract(epoch FROM mdate) * 1000000)::bigint AS modified"
    " FROM unreadable_file WHERE @VARN:NEVAR";

// A scan that finds what is known writes nothing.
constexpr const char kDelete[] =
    "DELETE FROM unreadable_file u WHERE (@VARN:NEVAR) AND NOT EXISTS (SELECT FROM found_unreadable"
    " f WHERE (f.path, f.filesize, f.mdate) = (u.path, u.filesize, u.mdate))";
constexpr const char kInsert[] =
    "INSERT INTO unreadable_file (path, filesize, mdate)"
    " SELECT DISTINCT path, filesize, mdate FROM found_unreadable f WHERE NOT EXISTS (SELECT FROM"
    " unreadable_file u WHERE (f.path, f.filesize, f.mdate) = (u.path, u.filesize, u.mdate))";

std::int64_t Stamp(std::int64_t size, std::int64_t modified) {
    return Hasher().Add(size).Add(modified).Value();
}

}  // namespace

Unreadable::Unreadable(Database &database, const Scope &scope) : database_(database) {
    database_.Execute(kCreate);
    const Rows rows = database_.Query(Made(varn::Sql(kSelect, ScopeCondition(scope, false))));
    for (int row = 0; row < rows.Count(); ++row) {
        known_[Hasher().Add(rows.Field(row, "path")).Value()] =
            Stamp(rows.Number(row, "filesize"), rows.Number(row, "modified"));
    }
}

bool Unreadable::Has(const std::string &path, std::int64_t size, std::int64_t modified) const {
    if (known_.empty()) {
        return false;
    }
    const auto known = known_.find(Hasher().Add(path).Value());
    return known != known_.end() && known->second == Stamp(size, modified);
}

void Unreadable::Note(const std::string &path, std::int64_t size, std::int64_t modified) {
    AppendEscaped(rows_, path);
    rows_ += '\t' + std::to_string(size) + '\t' + Timestamp(modified) + '\n';
    if (rows_.size() >= kFullBytes) {
        Flush();
    }
}

void Unreadable::Flush() {
    if (!rows_.empty()) {
        database_.CopyIn(kCopy, rows_);
    }
    rows_.clear();
}

void Unreadable::Store(const Scope &scope) {
    Flush();
    Transaction transaction(database_);
    database_.Execute(Made(varn::Sql(kDelete, ScopeCondition(scope, false))));
    database_.Execute(kInsert);
    database_.Execute("DROP TABLE found_unreadable");
    transaction.Commit();
}

}  // namespace varnindex
