#include "service/lists/kinds.h"

#include <algorithm>

#include "service/base/failure.h"
#include "tonvale/library.h"
#include "tonvale/settings.h"

namespace tonvale_service {

const std::vector<std::string> &AllKinds() {
    static const std::vector<std::string> kinds = {"all",     "personal",         "shared",
                                                   "actual",  "actual_personal",  "actual_shared",
                                                   "virtual", "virtual_personal", "virtual_shared"};
    return kinds;
}

std::vector<std::string> BrowsableKinds(uid_t uid) {
    const bool showsVirtual = AudioFileGetUserShowVirtualLib(uid);
    std::string meant;
    const bool hasPersonal = NormalizeLibraryKind("personal", uid, meant) == 0;
    const bool hasShared = hasPersonal || NormalizeLibraryKind("shared", uid, meant) == 0;
    std::vector<std::string> kinds;
    for (const std::string &kind : AllKinds()) {
        if ((showsVirtual || !kind.starts_with("virtual")) &&
            (hasPersonal || (hasShared && kind.ends_with("shared")))) {
            kinds.push_back(kind);
        }
    }
    return kinds;
}

std::string DefaultKind(uid_t uid) {
    const bool personal =
        AudioFile::GetUserBrowsePersonalLibraryType(uid) == BROWSE_LIBRARY_PERSONAL;
    std::string meant;
    if (personal && NormalizeLibraryKind("personal", uid, meant) == 0) {
        return meant;
    }
    return NormalizeLibraryKind("all", uid, meant) == 0 ? meant : "shared";
}

std::string ChosenKind(const std::string &asked, uid_t uid) {
    const std::string kind = asked.empty() ? DefaultKind(uid) : asked;
    if (std::find(AllKinds().begin(), AllKinds().end(), kind) == AllKinds().end()) {
        throw Failure(Reason::kUnknownLibrary, kind);
    }
    std::string meant;
    if (NormalizeLibraryKind(kind.c_str(), uid, meant) != 0) {
        throw Failure(Reason::kNoPersonalLibrary, kind);
    }
    return meant;
}

}  // namespace tonvale_service
