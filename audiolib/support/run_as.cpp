#include "support/run_as.h"

#include <syslog.h>
#include <unistd.h>

#include <cerrno>

#include "support/log.h"
#include "varn/handles.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace Tonvale::support {

namespace {

constexpr char kTag[] = "IF_RUN_AS";
constexpr char kRoot[] = "root";

bool SwitchByName(const char *source, int line, const char *account) {
    if (ResetCredentialsByName(account, true) == 0) {
        return true;
    }
    LogLine(errno, "%s:%d Failed to switch to %s.", source, line, account);
    return false;
}

}  // namespace

RunAs::RunAs(const char *source, uid_t uid, gid_t gid, int line)
    : source_(source), line_(line), switched_(VLIBSetEffective(uid, gid) == 0) {
    if (!switched_) {
        syslog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: %s(%d, %d)", source_, line_, kTag,
               static_cast<int>(uid), static_cast<int>(gid));
    }
}

RunAs::~RunAs() {
    const int savedErrno = errno;  // what the scope failed with is still to be told
    if (!before_.GiveBack()) {
        syslog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: ~%s(%d, %d)", source_, line_, kTag,
               static_cast<int>(before_.User()), static_cast<int>(before_.Group()));
    }
    errno = savedErrno;
}

SameAccount::~SameAccount() {
    const auto isSame = [this] {
        return geteuid() == before_.User() && getegid() == before_.Group();
    };
    const int savedErrno = errno;
    // By the name first, which brings the groups of the account.
    if (const varn::User account = isSame() ? nullptr : varn::UserByUid(before_.User())) {
        SwitchByName(source_, line_, account->szName);
    }
    if (isSame()) {
        before_.Forget();
    }
    errno = savedErrno;
}

RootThenPrevious::RootThenPrevious(const char *source, int line) : previous_(source, line) {
    if (varn::UserByUid(geteuid())) {
        SwitchByName(source, line, kRoot);
    }
}

RootThenPackage::RootThenPackage(const char *source, int line)
    : source_(source), line_(line), switched_(SwitchByName(source_, line_, kRoot)) {}

RootThenPackage::~RootThenPackage() {
    const int savedErrno = errno;
    if (!switched_ || SwitchByName(source_, line_, varn::kPackageAccount)) {
        before_.Forget();
    }
    errno = savedErrno;
}

}  // namespace Tonvale::support
