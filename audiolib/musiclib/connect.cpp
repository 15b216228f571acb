#include <unistd.h>

#include "musiclib/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/library.h"
#include "varn/database.h"
#include "varn/process.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace {

using Tonvale::musiclib::kSource;

DBConnect_tag *Connect() {
    const varn::RunAs package(varn::Who::kPackage, varn::Afterwards::kAccountBefore, kSource);
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
