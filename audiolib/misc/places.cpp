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

bool SwitchTo(const char *account) noexcept {
    const int savedErrno = errno;
    const bool switched = ResetCredentialsByName(account) == 0;
    if (!switched) {
        LOG_ERROR(kSource, "Failed to switch to %s.", account);
    }
    errno = savedErrno;
    return switched;
}

}  // namespace

void BecomeRoot() noexcept {
    SwitchTo(kRoot);
}

ThenPackageUser::ThenPackageUser() noexcept : uid_(geteuid()), gid_(getegid()) {}

ThenPackageUser::~ThenPackageUser() {
    if (!SwitchTo(varn::kPackageAccount)) {
        VLIBRestoreEffective(uid_, gid_);
    }
}

// A folder that has been removed has no name to come back to.
bool HasCurrentFolder() noexcept {
    const std::unique_ptr<char, decltype(&std::free)> name(getcwd(nullptr, 0), std::free);
    if (!name) {
        LOG_ERROR(kSource, "Failed to get current directory");
    }
    return name != nullptr;
}

Visit::Visit(const char *folder) noexcept
    : back_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)), there_(back_ && chdir(folder) == 0) {}

Visit::Visit(const support::Fd &folder) noexcept
    : back_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)),
      there_(back_ && folder && fchdir(folder.Get()) == 0) {}

Visit::~Visit() {
    if (there_ && fchdir(back_.Get()) != 0) {
        LOG_ERROR(kSource, "Failed to change back to the current directory %m");
    }
}

Matches::Matches(const char *pattern, int flags) noexcept {
    glob(pattern, flags, nullptr, &found_);
}

}  // namespace Tonvale::misc
