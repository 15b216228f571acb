// Running as somebody else for the length of a scope.
#pragma once

#include <sys/types.h>

namespace Tonvale::support {

// Each of these ends a process that cannot go back to whom it was.

// Switches the effective user and group, and back at the end of the scope. A switch that fails is
// logged at critical level for the authorisation facility, with `source` and the line, as one of
// IF_RUN_AS.
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
    uid_t uidBefore_;
    gid_t gidBefore_;
    bool switched_;
};

// Root for the length of a scope.
class RunAsRoot : public RunAs {
  public:
    explicit RunAsRoot(const char *source, int line = __builtin_LINE())
        : RunAs(source, 0, 0, line) {}
};

// For calls that may leave the process as somebody else: at the end of the scope it runs as at the
// beginning, with the groups of its account where the effective user has a name.
class SameAccount {
  public:
    explicit SameAccount(const char *source, int line = __builtin_LINE());
    ~SameAccount();
    SameAccount(const SameAccount &) = delete;
    SameAccount &operator=(const SameAccount &) = delete;

  private:
    const char *source_;
    int line_;
    uid_t uid_;
    gid_t gid_;
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

// Switches to root, and at the end of the scope to the package's account, whoever it was before; to
// whom it was where there is no such account. A process that cannot become root stays what it is.
class RootThenPackage {
  public:
    RootThenPackage(const char *source, int line = __builtin_LINE());
    ~RootThenPackage();
    RootThenPackage(const RootThenPackage &) = delete;
    RootThenPackage &operator=(const RootThenPackage &) = delete;

    // False when the process runs as it did.
    explicit operator bool() const { return switched_; }

  private:
    const char *source_;
    int line_;
    uid_t uid_;
    gid_t gid_;
    bool switched_;
};

}  // namespace Tonvale::support
