#include "second_look.h"

namespace varnindex {

bool SecondLook::IsBack(const std::string &path) {
    StopIfAsked(isStopped_);
    const bool isBack = library_.IsThere(path);
    if (isBack) {
        places_.NoteFile(path, folders_.OwnerOf(path));
    }
    return isBack;
}

std::size_t SecondLook::KeepThoseBack(Database &database, GoneRows &gone) {
    std::size_t kept = 0;
    gone.KeepThoseBack(database, [&](const std::string &path) {
        const bool isBack = IsBack(path);
        kept += isBack ? 1 : 0;
        return isBack;
    });
    return kept;
}

}  // namespace varnindex
