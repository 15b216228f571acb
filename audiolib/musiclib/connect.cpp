#include <sys/stat.h>
#include <unistd.h>

#include "musiclib/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/run_as.h"
#include "tonvale/library.h"
#include "varn/handles.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using Tonvale::musiclib::kSource;

bool IsSocket(const std::string &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

// A user without a name stays what it is: there would be no way back by it.
void BecomePackage() {
    using namespace Tonvale::support;
    const varn::User package = varn::UserByName(varn::kPackageAccount);
    if (package && package->uid != geteuid() && varn::UserByUid(geteuid()) &&
        ResetCredentialsByName(varn::kPackageAccount, true) != 0) {
        LOG_ERROR(kSource, "Failed to switch to %s.", varn::kPackageAccount);
    }
}

DBConnect_tag *Connect() {
    const Tonvale::support::SameAccount account(kSource);
    BecomePackage();
    if (IsSocket(SystemPath(varn::path::kDatabaseSocket))) {
        const std::string directory = SystemPath(varn::path::kDatabaseSocketDir);
        DBConnect_tag *conn = VARNDBConnect(directory.c_str(), varn::kPackageAccount, nullptr,
                                            varn::kLibraryDatabase);
        if (conn != nullptr) {
            return conn;
        }
        // The next attempt would cover this reason with its own.
        LOG_ERROR(kSource, "Failed to connect over the local socket (%s)", VARNDBErrorGet(nullptr));
    }
    return VARNDBConnect(nullptr, varn::kPackageAccount, nullptr, varn::kLibraryDatabase);
}

}  // namespace

DBConnect_tag *AudioInfoDBConnect(void) noexcept {
    using Tonvale::support::Guarded;
    return Guarded(kSource, static_cast<DBConnect_tag *>(nullptr), Connect);
}
