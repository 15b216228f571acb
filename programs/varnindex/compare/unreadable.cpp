#include "varnindex/compare/unreadable.h"

#include <algorithm>

#include "varn/sql.h"
#include "varnindex/hash.h"
#include "varnindex/write/copy_rows.h"

namespace varnindex {
namespace {

constexpr const char kSelect[] =
    "SELECT path, filesize, (extract(epoch FROM mdate) * 1000000)::bigint AS modified"
    " FROM unreadable_file WHERE @VARN:NEVAR";
constexpr const char kDelete[] = "DELETE FROM unreadable_file WHERE path = '@VARN:VAR'";
constexpr const char kInsert[] =
    "INSERT INTO unreadable_file (path, filesize, mdate) SELECT * FROM found_unreadable";

std::int64_t KeyOf(const std::string &path) {
    return Hasher().Add(path).Value();
}

std::int64_t Stamp(std::int64_t size, std::int64_t modified) {
    return Hasher().Add(size).Add(modified).Value();
}

}  // namespace

Unreadable::Unreadable(Database &database)
    : database_(database),
      foundTable_(database, "found_unreadable", "path text, filesize bigint, mdate timestamp") {}

void Unreadable::Load(const Scope &scope) {
    const Rows rows = database_.Query(Made(varn::Sql(kSelect, ScopeCondition(scope, false))));
    for (int row = 0; row < rows.Count(); ++row) {
        known_[KeyOf(rows.Field(row, "path"))] = {
            Stamp(rows.Number(row, "filesize"), rows.Number(row, "modified")), false};
    }
}

bool Unreadable::Has(const std::string &path, std::int64_t size, std::int64_t modified) const {
    const auto known = known_.empty() ? known_.end() : known_.find(KeyOf(path));
    return known != known_.end() && known->second.stamp == Stamp(size, modified);
}

void Unreadable::Note(const std::string &path, std::int64_t size, std::int64_t modified) {
    if (Has(path, size, modified)) {
        known_.at(KeyOf(path)).isNoted = true;
    } else {
        foundTable_.Add(Escaped(path) + '\t' + std::to_string(size) + '\t' + Timestamp(modified));
    }
}

void Unreadable::Store(const Scope &scope) {
    const bool isAnyFound = foundTable_.Flush();
    const bool isAllNoted = std::all_of(known_.begin(), known_.end(),
                                        [](const auto &known) { return known.second.isNoted; });
    if (!isAnyFound && isAllNoted) {
        return;
    }
    Transaction transaction(database_);
    const Rows rows = database_.Query(Made(varn::Sql(kSelect, ScopeCondition(scope, false))));
    for (int row = 0; row < rows.Count(); ++row) {
        const auto known = known_.find(KeyOf(rows.Field(row, "path")));
        if (known != known_.end() && !known->second.isNoted) {
            database_.Execute(Made(varn::Sql(kDelete, rows.Field(row, "path"))));
        }
    }
    if (isAnyFound) {
        database_.Execute(kInsert);
    }
    transaction.Commit();
}

}  // namespace varnindex
