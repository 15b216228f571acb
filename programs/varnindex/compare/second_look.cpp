#include "varnindex/compare/second_look.h"

namespace varnindex {

bool SecondLook::IsBack(const KnownRow &row) {
    StopIfAsked(isStopped_);
    const unsigned owner = folders_.OwnerOf(row.path);
    const bool isBack =
        owner != kNobody && (!row.isList || owner == row.userid) && library_.IsThere(row.path);
    if (isBack) {
        places_.NoteFile(row.path, owner);
    }
    return isBack;
}

bool SecondLook::MayBeUnread(const KnownRow &row) {
    const bool mayBe = unread_.contains({row.size, row.userid});
    if (mayBe) {
        places_.NoteFile(row.path, row.userid);
    }
    return mayBe;
}

std::size_t SecondLook::KeepSome(Database &database, GoneRows &gone) {
    std::size_t kept = 0;
    gone.Keep(database, [&](const KnownRow &row, bool hasItsPath) {
        const bool stays = (hasItsPath && IsBack(row)) || MayBeUnread(row);
        kept += stays ? 1 : 0;
        return stays;
    });
    return kept;
}

}  // namespace varnindex
