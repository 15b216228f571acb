#include "support/package_user.h"

#include <unistd.h>

#include "support/handles.h"
#include "support/log.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace Tonvale::support {

namespace {

constexpr char kSource[] = "audiolib/support";

}  // namespace

AsPackageUser::AsPackageUser() {
    const User package = UserByName(varn::kPackageAccount);
    if (!package || package->uid == geteuid()) {
        return;
    }
    const User previous = UserByUid(geteuid());
    if (!previous) {
        return;
    }
    previous_ = previous->szName;
    if (ResetCredentialsByName(varn::kPackageAccount, true) != 0) {
        LOG_ERROR(kSource, "Failed to switch to %s.", varn::kPackageAccount);
        previous_.clear();
    }
}

AsPackageUser::~AsPackageUser() {
    if (!previous_.empty() && ResetCredentialsByName(previous_.c_str(), true) != 0) {
        LOG_ERROR(kSource, "Failed to switch back to %s.", previous_.c_str());
    }
}

}  // namespace Tonvale::support
