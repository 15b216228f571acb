// Running as root, or as other ids, for the length of a scope.
#pragma once

#include <sys/types.h>
#include <syslog.h>

#include <string>

#include <string>

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

// Root for the length of a scope, then the account of the previous effective user id, by its name.
// A user without a name to switch back to stays what it is.
class RootThenPrevious {
  public:
    RootThenPrevious(const char *source, int line = __builtin_LINE());
    ~RootThenPrevious();
    RootThenPrevious(const RootThenPrevious &) = delete;
    RootThenPrevious &operator=(const RootThenPrevious &) = delete;

  private:
    const char *source_;
    int line_;
    std::string previous_;  // "": nothing was switched
};

// Switches to root, and at the end of the scope to the package's account, whoever it was before.
class RootThenPackage {
  public:
    RootThenPackage(const char *source, int line = __builtin_LINE());
    ~RootThenPackage();
    RootThenPackage(const RootThenPackage &) = delete;
    RootThenPackage &operator=(const RootThenPackage &) = delete;

  private:
    const char *source_;
    int line_;
};

}  // namespace Tonvale::support
