// Accounts, for the verbs that name one or write what belongs to the package.
#pragma once

#include <string>

namespace tonvale_cli {

// A user's preference folder, "" for a name that can have none.
std::string PreferenceFolder(const std::string &name);

// Runs as the package's account for the length of a scope, where the process may switch: what is
// written then is that account's own.
class AsPackageAccount {
  public:
    AsPackageAccount();
    ~AsPackageAccount();
    AsPackageAccount(const AsPackageAccount &) = delete;
    AsPackageAccount &operator=(const AsPackageAccount &) = delete;

    // False, with a message, when the switch failed.
    explicit operator bool() const { return good_; }

  private:
    bool wasRoot_;
    bool good_;
};

}  // namespace tonvale_cli
