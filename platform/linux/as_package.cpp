#include "varn/as_package.h"

#include <grp.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "linux/credentials.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace varn {

AsPackage::AsPackage() : uid_(geteuid()), gid_(getegid()) {
    const int count = getgroups(0, nullptr);
    groups_.resize(static_cast<std::size_t>(std::max(count, 0)));
    if (count > 0 && getgroups(count, groups_.data()) != count) {
        return;
    }
    good_ = ResetCredentialsByName(kPackageAccount) == 0;
}

AsPackage::~AsPackage() {
    if (geteuid() == uid_ && getegid() == gid_) {
        return;
    }
    const int saved = errno;
    // Only root may set the groups; the ids of before may be anybody's.
    if (VLIBSetEffective(0, static_cast<gid_t>(-1)) != 0 ||
        setgroups(groups_.size(), groups_.data()) != 0 || VLIBSetEffective(uid_, gid_) != 0) {
        EndStranded(uid_);
    }
    errno = saved;
}

}  // namespace varn
