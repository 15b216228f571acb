// Running as the package's account for the length of a scope.
#pragma once

#include "varn/export.h"
#include "varn/same_identity.h"

namespace varn {

// Switches the effective user, group and supplementary groups to those of "Tonvale", and back at the
// end of the scope, as SameIdentity does. Files that are made in the scope are the package's own.
class VARN_EXPORT AsPackage {
  public:
    AsPackage();
    AsPackage(const AsPackage &) = delete;
    AsPackage &operator=(const AsPackage &) = delete;

    // False when there is no such account or the switch was refused: the process runs as before.
    explicit operator bool() const { return good_; }

  private:
    SameIdentity before_;
    bool good_;
};

}  // namespace varn
