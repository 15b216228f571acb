// Running as the package's account for the length of a scope.
#pragma once

#include <string>

namespace Tonvale::support {

// Switches the effective user to "Tonvale" when the process runs as somebody else, and back to the
// account of the previous effective user id at the end of the scope, by its name. Where there is no
// package account, or the previous user has no name to switch back to, nothing is switched.
//
// For AudioInfoDBConnect alone, whose callers know it so; varn::AsPackage goes back to the very ids
// and groups, and ends the process where it cannot.
class AsPackageUser {
  public:
    AsPackageUser();
    ~AsPackageUser();
    AsPackageUser(const AsPackageUser &) = delete;
    AsPackageUser &operator=(const AsPackageUser &) = delete;

  private:
    std::string previous_;  // "": nothing was switched
};

}  // namespace Tonvale::support
