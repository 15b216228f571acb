#include "support/run_as.h"

#include <unistd.h>

#include <cerrno>

#include "varn/process.h"

namespace Tonvale::support {

RunAs::RunAs(const char *source, uid_t uid, gid_t gid, int priority, int line) noexcept
    : source_(source),
      priority_(priority),
      line_(line),
      uid_(geteuid()),
      gid_(getegid()),
      good_(VLIBSetEffective(uid, gid) == 0) {
    if (!good_) {
        syslog(priority_, "%s:%d ERROR: %s(%d, %d)", source_, line_, "IF_RUN_AS",
               static_cast<int>(uid), static_cast<int>(gid));
    }
}

RunAs::~RunAs() {
    const int savedErrno = errno;  // what the scope failed with is still to be told
    if (good_ && VLIBSetEffective(uid_, gid_) != 0) {
        syslog(priority_, "%s:%d ERROR: ~%s(%d, %d)", source_, line_, "IF_RUN_AS",
               static_cast<int>(uid_), static_cast<int>(gid_));
    }
    errno = savedErrno;
}

}  // namespace Tonvale::support
