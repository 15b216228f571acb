#include "linux/library_db.h"

#include <sys/stat.h>

#include <string>

#include "varn/run_as.h"
#include "varn/systempath.h"

namespace varn {

namespace {

bool IsSocket(const std::string &path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

UniqueConnection ConnectLibrary() {
    // The server lets accounts of the machine in by the ids of the process that connects.
    const RunAs account(Who::kPackage);
    if (IsSocket(SystemPath(path::kDatabaseSocket))) {
        const std::string directory = SystemPath(path::kDatabaseSocketDir);
        UniqueConnection connection(
            VARNDBConnect(directory.c_str(), kPackageAccount, nullptr, kLibraryDatabase));
        if (connection) {
            return connection;
        }
    }
    return UniqueConnection(VARNDBConnect(nullptr, kPackageAccount, nullptr, kLibraryDatabase));
}

}  // namespace varn
