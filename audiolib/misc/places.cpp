#include "misc/places.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "misc/source.h"
#include "support/log.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace Tonvale::misc {

namespace {

constexpr char kRoot[] = "root";

void SwitchTo(const char *account) noexcept {
    const int savedErrno = errno;
    if (ResetCredentialsByName(account) != 0) {
        LOG_ERROR(kSource, "Failed to switch to %s.", account);
    }
    errno = savedErrno;
}

// False for a folder that has been removed, which has no name to come back to.
bool HasName() noexcept {
    return std::unique_ptr<char, decltype(&std::free)>(getcwd(nullptr, 0), std::free) != nullptr;
}

}  // namespace

RootThenPackageUser::RootThenPackageUser() noexcept {
    SwitchTo(kRoot);
}

RootThenPackageUser::~RootThenPackageUser() {
    SwitchTo(varn::kPackageAccount);
}

CurrentFolder::CurrentFolder() noexcept
    : fd_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)), good_(fd_ >= 0 && HasName()) {
    if (!good_) {
        LOG_ERROR(kSource, "Failed to get current directory");
    }
}

CurrentFolder::~CurrentFolder() {
    if (fd_ < 0) {
        return;
    }
    if (fchdir(fd_) != 0) {
        LOG_ERROR(kSource, "Failed to change back to the current directory %m");
    }
    close(fd_);
}

Matches::Matches(const char *pattern, int flags) noexcept {
    glob(pattern, flags, nullptr, &found_);
}

}  // namespace Tonvale::misc
