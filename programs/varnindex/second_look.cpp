#include "second_look.h"

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

std::size_t SecondLook::KeepThoseBack(Database &database, GoneRows &gone) {
    std::size_t kept = 0;
    gone.KeepThoseBack(database, [&](const KnownRow &row) {
        const bool isBack = IsBack(row);
        kept += isBack ? 1 : 0;
        return isBack;
    });
    return kept;
}

}  // namespace varnindex
