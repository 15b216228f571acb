// Running as somebody else for the length of a scope.
#pragma once

#include <sys/types.h>

#include "varn/same_identity.h"

namespace Tonvale::support {

// Switches the effective user and group, and back at the end of the scope. A switch that fails,
// either way, is logged at critical level for the authorisation facility, with `source` and the line,
// as one of IF_RUN_AS. After a failed way back the process goes on with the rights of the scope.
class RunAs {
  public:
    RunAs(const char *source, uid_t uid, gid_t gid, int line = __builtin_LINE());
    ~RunAs();
    RunAs(const RunAs &) = delete;
    RunAs &operator=(const RunAs &) = delete;

    // False when the process runs as it did.
    explicit operator bool() const { return switched_; }

  private:
    const char *source_;
    int line_;
    varn::SameIdentity before_;
    bool switched_;
};

// Root for the length of a scope.
class RunAsRoot : public RunAs {
  public:
    explicit RunAsRoot(const char *source, int line = __builtin_LINE())
        : RunAs(source, 0, 0, line) {}
};

// For calls that may leave the process as somebody else: at the end of the scope it runs as at the
// beginning. It goes back by the name of its user, which gives it all groups of that account, and by
// the ids and groups of the beginning where the name leads nowhere. A process that cannot go back
// ends.
class SameAccount {
  public:
    explicit SameAccount(const char *source, int line = __builtin_LINE())
        : source_(source), line_(line) {}
    ~SameAccount();
    SameAccount(const SameAccount &) = delete;
    SameAccount &operator=(const SameAccount &) = delete;

  private:
    const char *source_;
    int line_;
    varn::SameIdentity before_;
};

// Root for the length of a scope, then the account of the previous effective user id. A user without
// a name stays what it is.
class RootThenPrevious {
  public:
    RootThenPrevious(const char *source, int line = __builtin_LINE());
    RootThenPrevious(const RootThenPrevious &) = delete;
    RootThenPrevious &operator=(const RootThenPrevious &) = delete;

  private:
    SameAccount previous_;
};

// Switches to root, and at the end of the scope to the package's account. Where there is no such
// account, it goes back to the identity of before, and a process that cannot do that ends. A process
// that cannot become root stays what it is.
class RootThenPackage {
  public:
    RootThenPackage(const char *source, int line = __builtin_LINE());
    ~RootThenPackage();
    RootThenPackage(const RootThenPackage &) = delete;
    RootThenPackage &operator=(const RootThenPackage &) = delete;

    // False when the process runs as it did.
    explicit operator bool() const { return switched_; }

    // Leaves the process as root at the end of the scope.
    void StayRoot() { switched_ = false; }

  private:
    const char *source_;
    int line_;
    varn::SameIdentity before_;
    bool switched_;
};

}  // namespace Tonvale::support
