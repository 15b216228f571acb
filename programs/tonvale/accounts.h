// Accounts, for the verbs that name one or write what belongs to the package.
#pragma once

#include <string>

#include "varn/as_package.h"

namespace tonvale_cli {

// A user's preference folder, "" for a name that can have none.
std::string PreferenceFolder(const std::string &name);

// varn::AsPackage with a message when the switch failed.
class AsPackageAccount : public varn::AsPackage {
  public:
    AsPackageAccount();
};

}  // namespace tonvale_cli
