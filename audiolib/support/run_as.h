// Running as root, or as other ids, for the length of a scope.
#pragma once

#include <sys/types.h>
#include <syslog.h>

namespace Tonvale::support {

// Saves the effective user and group, switches to the given ones, and switches back at the end of
// the scope. A switch that is refused is logged as
// "%s:%d ERROR: IF_RUN_AS(uid, gid)", one back as "%s:%d ERROR: ~IF_RUN_AS(uid, gid)", under the
// module's source path and the line of the scope; what follows from it is the caller's to say.
class RunAs {
  public:
    RunAs(const char *source, uid_t uid, gid_t gid, int priority = LOG_CRIT,
          int line = __builtin_LINE()) noexcept;
    ~RunAs();
    RunAs(const RunAs &) = delete;
    RunAs &operator=(const RunAs &) = delete;

    // False when the switch was refused, and everything is as it was.
    explicit operator bool() const noexcept { return good_; }

  private:
    const char *source_;
    int priority_;
    int line_;
    uid_t uid_;
    gid_t gid_;
    bool good_;
};

// As root.
class RunAsRoot : public RunAs {
  public:
    explicit RunAsRoot(const char *source, int priority = LOG_CRIT,
                       int line = __builtin_LINE()) noexcept
        : RunAs(source, 0, 0, priority, line) {}
};

}  // namespace Tonvale::support
