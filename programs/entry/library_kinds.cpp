#include "library_kinds.h"

#include "tonvale/library.h"
#include "tonvale/settings.h"

namespace tonvale_entry {

namespace {

const std::vector<std::string> &AllKinds() {
    static const std::vector<std::string> kinds = {"all",     "personal",         "shared",
                                                   "actual",  "actual_personal",  "actual_shared",
                                                   "virtual", "virtual_personal", "virtual_shared"};
    return kinds;
}

}  // namespace

std::vector<std::string> BrowsableKinds(const Request &request) {
    const unsigned uid = request.User().GetLoginUID();
    const bool showsVirtual = AudioFileGetUserShowVirtualLib(uid);
    std::vector<std::string> kinds;
    for (const std::string &kind : AllKinds()) {
        std::string meant;
        if ((showsVirtual || !kind.starts_with("virtual")) &&
            NormalizeLibraryKind(kind.c_str(), uid, meant) == 0 && meant == kind) {
            kinds.push_back(kind);
        }
    }
    return kinds;
}

std::string DefaultKind(const Request &request) {
    const unsigned uid = request.User().GetLoginUID();
    const bool personal =
        AudioFile::GetUserBrowsePersonalLibraryType(uid) == BROWSE_LIBRARY_PERSONAL;
    std::string meant;
    if (personal && NormalizeLibraryKind("personal", uid, meant) == 0) {
        return meant;
    }
    return NormalizeLibraryKind("all", uid, meant) == 0 ? meant : "shared";
}

std::string ChosenKind(const Request &request) {
    const std::string asked = request.Choice("library", AllKinds(), DefaultKind(request));
    std::string meant;
    if (NormalizeLibraryKind(asked.c_str(), request.User().GetLoginUID(), meant) != 0) {
        throw Refusal{Code::kNotPermitted};
    }
    return meant;
}

}  // namespace tonvale_entry
