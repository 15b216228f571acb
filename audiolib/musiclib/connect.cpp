#include <sys/stat.h>
#include <unistd.h>

#include "musiclib/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/library.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace {

using Tonvale::musiclib::kSource;

bool IsSocket(const std::string &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

DBConnect_tag *Connect() {
    const varn::RunAs package(varn::Who::kPackage, varn::Afterwards::kAccountBefore, kSource);
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
