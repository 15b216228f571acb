#include "varn/drop_rights.h"

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

#include "linux/credentials.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace varn {

namespace {

constexpr std::uint32_t kRead = std::uint32_t{1} << CAP_DAC_READ_SEARCH;
static_assert(CAP_DAC_READ_SEARCH < 32, "it stands in the first of the kernel's words");

using Words = std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3>;

// Keeps one of the capabilities at most. The programs that this process becomes inherit it:
// ambient, because files of programs have none.
bool KeepCapability(bool isNeeded) {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    Words words = {};
    if (syscall(SYS_capget, &header, words.data()) != 0) {
        return false;
    }
    const std::uint32_t kept = isNeeded ? words[0].permitted & kRead : 0;
    words = {};
    words[0] = {kept, kept, kept};
    return syscall(SYS_capset, &header, words.data()) == 0 &&
           prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0) == 0 &&
           (kept == 0 ||
            prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, CAP_DAC_READ_SEARCH, 0, 0) == 0);
}

// Capabilities do not count for access(2) once the real user is not root.
bool NeedsCapability(const char *file) {
    return file != nullptr && access(file, R_OK) != 0 && errno == EACCES;
}

bool TakePackageIds() {
    if (prctl(PR_SET_KEEPCAPS, 1, 0, 0, 0) != 0) {
        return false;
    }
    errno = 0;
    if (ResetCredentialsByName(kPackageAccount, false) != 0) {
        errno = errno != 0 ? errno : ESRCH;  // there is no such account
        return false;
    }
    return prctl(PR_SET_KEEPCAPS, 0, 0, 0, 0) == 0;
}

}  // namespace

bool DropRights(const char *file) noexcept {
    int endSignal = 0;
    const pid_t parent = getppid();
    if (prctl(PR_GET_PDEATHSIG, &endSignal) != 0 || (MaySwitchUser() && !TakePackageIds()) ||
        !KeepCapability(NeedsCapability(file)) || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) {
        return false;
    }
    // A change of the ids has taken the wish back, and the parent may have ended since.
    if (endSignal != 0 && prctl(PR_SET_PDEATHSIG, endSignal) != 0) {
        return false;
    }
    errno = ESRCH;
    return endSignal == 0 || getppid() == parent;
}

}  // namespace varn
