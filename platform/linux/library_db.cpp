#include "linux/library_db.h"

#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "linux/credentials.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace varn {

namespace {

// The server lets accounts of the machine in by the ids of the process that connects.
class AsPackage {
  public:
    AsPackage() : uid_(geteuid()), gid_(getegid()) {
        const std::optional<Identity> package = IdentityOf(kPackageAccount);
        switched_ = package && package->uid != uid_ && MaySwitchUser() &&
                    VLIBSetEffective(package->uid, package->gid) == 0;
    }
    ~AsPackage() {
        if (switched_) {
            VLIBSetEffective(uid_, gid_);  // what the process was it may become again
        }
    }
    AsPackage(const AsPackage &) = delete;
    AsPackage &operator=(const AsPackage &) = delete;

  private:
    uid_t uid_;
    gid_t gid_;
    bool switched_ = false;
};

bool IsSocket(const std::string &path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

UniqueConnection ConnectLibrary() {
    const AsPackage account;
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
