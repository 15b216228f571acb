// Whom a process runs as, kept for the length of a scope.
#pragma once

#include <sys/types.h>

#include <vector>

#include "varn/export.h"

namespace varn {

// What a switch by name changes of a process, effective ids alone.
struct Identity {
    uid_t uid;
    gid_t gid;
    std::vector<gid_t> groups;  // supplementary groups
};

// Keeps the identity of its beginning and gives it back at the end of the scope. A process that
// cannot take it back, for want of a capability, would go on as somebody else: it ends, with a line
// in the log. errno stays. Without root among its user ids a process has one identity, and nothing
// is switched. Not for processes in which another thread depends on the account.
class VARN_EXPORT SameIdentity {
  public:
    SameIdentity();
    ~SameIdentity();
    SameIdentity(const SameIdentity &) = delete;
    SameIdentity &operator=(const SameIdentity &) = delete;

    uid_t User() const noexcept { return kept_.uid; }
    gid_t Group() const noexcept { return kept_.gid; }

    // Leaves the process as it is at the end of the scope.
    void Forget() noexcept { isForgotten_ = true; }

    // Gives it back now, in place of the end of the scope. False, with errno set and the process as
    // it was before the call, when that fails.
    bool GiveBack() noexcept;

  private:
    Identity kept_;
    bool isForgotten_ = false;
};

}  // namespace varn
