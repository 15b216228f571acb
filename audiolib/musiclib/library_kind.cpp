#include "musiclib/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/library.h"
#include "varn/handles.h"

namespace Tonvale::musiclib {

namespace {

// The kind without what is personal; "" for one that is nothing else.
std::string SharedKind(const std::string &kind) {
    if (kind.find("personal") != std::string::npos) {
        return "";
    }
    if (kind == "all") {
        return "shared";
    }
    return kind == "actual" || kind == "virtual" ? kind + "_shared" : kind;
}

int Normalize(const std::string &kind, uid_t uid, std::string &out) {
    const varn::User user = varn::UserByUid(uid);
    if (!user) {
        LOG_ERROR(kSource, "Fail to get user by id [%d].", static_cast<int>(uid));
        return -1;
    }
    std::string meant = IsPersonalLibEnabled(user->szName) ? kind : SharedKind(kind);
    if (meant.empty() && !kind.empty()) {
        return -1;
    }
    out = std::move(meant);
    return 0;
}

}  // namespace

}  // namespace Tonvale::musiclib

int NormalizeLibraryKind(const char *library, uid_t uid, std::string &out) noexcept {
    using namespace Tonvale::musiclib;
    if (library == nullptr) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] { return Normalize(library, uid, out); });
}
