#include "support/package_user.h"

#include <unistd.h>

#include "support/handles.h"
#include "support/log.h"
#include "varn/process.h"

namespace Tonvale::support {

namespace {

constexpr char kSource[] = "audiolib/support";
constexpr char kPackageUser[] = "Tonvale";

}  // namespace

AsPackageUser::AsPackageUser() {
    const User package = UserByName(kPackageUser);
    if (!package || package->uid == geteuid()) {
        return;
    }
    const User previous = UserByUid(geteuid());
    if (!previous) {
        return;
    }
    if (ResetCredentialsByName(kPackageUser, true) != 0) {
        LOG_ERROR(kSource, "Failed to switch to %s.", kPackageUser);
        return;
    }
    previous_ = previous->szName;
}

AsPackageUser::~AsPackageUser() {
    if (!previous_.empty() && ResetCredentialsByName(previous_.c_str(), true) != 0) {
        LOG_ERROR(kSource, "Failed to switch back to %s.", previous_.c_str());
    }
}

}  // namespace Tonvale::support
