// Running as the package's account for the length of a scope.
#pragma once

#include <sys/types.h>

#include <vector>

#include "varn/export.h"

namespace varn {

// Switches the effective user, group and supplementary groups to those of "Tonvale", and back at the
// end of the scope. A process without root among its user ids runs everything as its one account:
// nothing is switched then. A process that cannot get back, which only a missing capability could
// bring about, ends with a line in the log: it would go on as somebody else. Files that are made in
// the scope are the package's own. Not for processes in which another thread depends on the account.
class VARN_EXPORT AsPackage {
  public:
    AsPackage();
    ~AsPackage();
    AsPackage(const AsPackage &) = delete;
    AsPackage &operator=(const AsPackage &) = delete;

    // False when there is no such account or the switch was refused: the process runs as before.
    explicit operator bool() const { return good_; }

  private:
    uid_t uid_;
    gid_t gid_;
    std::vector<gid_t> groups_;
    bool good_ = false;
};

}  // namespace varn
