#include "known.h"

#include "varn/sql.h"

namespace varnindex {
namespace {

// The cursor outlives its transaction, so that the batches of the scan can commit while it is read.
// ^@ is "begins with": no character of a path means anything to it.
constexpr const char kDeclare[] =
    "DECLARE known_track NO SCROLL CURSOR WITH HOLD FOR"
    " SELECT id, path, filesize, (extract(epoch FROM mdate) * 1000000)::bigint AS modified"
    " FROM track WHERE userid = 0 AND NOT is_virtual AND (@VARN:NEVAR)"
    " ORDER BY path COLLATE \"C\", id";
constexpr const char *kFetch = "FETCH 5000 FROM known_track";

std::string ScopeCondition(Scope scope, const std::vector<std::string> &folders) {
    if (scope == Scope::kWholeLibrary) {
        return "true";
    }
    std::string condition = "false";
    for (const std::string &folder : folders) {
        const std::string prefix = folder == "/" ? folder : folder + "/";
        condition += Made(varn::Sql(" OR path ^@ '@VARN:VAR'", prefix));
    }
    return condition;
}

}  // namespace

KnownRows::KnownRows(Database &database, Scope scope, const std::vector<std::string> &folders)
    : database_(database) {
    Transaction transaction(database_);
    database_.Execute(Made(varn::Sql(kDeclare, ScopeCondition(scope, folders))));
    transaction.Commit();
}

const KnownRow *KnownRows::Front() {
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
    front_.emplace(KnownRow{static_cast<int>(block_->Number(next_, "id")),
                            block_->Field(next_, "path"), block_->Number(next_, "filesize"),
                            block_->Number(next_, "modified")});
    ++next_;
}

}  // namespace varnindex
