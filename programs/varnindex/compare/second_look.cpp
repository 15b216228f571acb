#include "varnindex/compare/second_look.h"

namespace varnindex {

bool SecondLook::KeepIfBack(const KnownRow &row) {
    StopIfAsked(isStopped_);
    const unsigned owner = folders_.OwnerOf(row.path);
    const bool isBack =
        owner != kNobody && (!row.isList || owner == row.userid) && library_.IsThere(row.path);
    if (isBack) {
        folderRows_.NoteFile(row.path, owner);
    }
    return isBack;
}

}  // namespace varnindex
