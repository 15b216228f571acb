// Root's rights for the length of a scope.
#pragma once

#include "varn/same_identity.h"

namespace tonvale_service {

// Takes root's rights where the process may have them, and goes back to the identity before; a
// process that cannot give them back ends.
class AsRoot {
  public:
    AsRoot();
    AsRoot(const AsRoot &) = delete;
    AsRoot &operator=(const AsRoot &) = delete;

  private:
    varn::SameIdentity before_;
};

}  // namespace tonvale_service
