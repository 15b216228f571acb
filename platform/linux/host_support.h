// The package's account, for the parts of varn/host.h.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "linux/host_files.h"

namespace varn::host {

inline constexpr char kPackageAccount[] = "Tonvale";

// Whom a file of the package account belongs to: empty unless this process is root, because nobody
// else can give files away, and needs to.
std::optional<Owner> PackageOwner();

// The options that name this root on a command line: " --root DIR", or "" without a root.
std::string RootOption();

// Runs as the package's account, where the process may, for the length of a scope.
class AsPackageAccount {
  public:
    AsPackageAccount();
    ~AsPackageAccount();
    AsPackageAccount(const AsPackageAccount &) = delete;
    AsPackageAccount &operator=(const AsPackageAccount &) = delete;

    // False when the account does not exist or the switch was refused.
    explicit operator bool() const { return good_; }

  private:
    uid_t uid_;
    gid_t gid_;
    std::vector<gid_t> groups_;
    bool good_ = false;
};

}  // namespace varn::host
