#include <unistd.h>

#include "musiclib/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/run_as.h"
#include "tonvale/library.h"
#include "varn/database.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using Tonvale::musiclib::kSource;

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
    if (varn::HasLocalServer()) {
        if (varn::Connection conn = varn::ConnectLibrary(varn::Server::kLocal)) {
            return conn.release();
        }
        // The next attempt would cover this reason with its own.
        LOG_ERROR(kSource, "Failed to connect over the local socket (%s)", VARNDBErrorGet(nullptr));
    }
    return varn::ConnectLibrary(varn::Server::kDefault).release();
}

}  // namespace

DBConnect_tag *AudioInfoDBConnect(void) noexcept {
    using Tonvale::support::Guarded;
    return Guarded(kSource, static_cast<DBConnect_tag *>(nullptr), Connect);
}
