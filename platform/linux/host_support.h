// What the parts of varn/host.h share: the owner of what they make, and taking turns.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "linux/host_files.h"

namespace varn::host {

// How long to wait for another process, a server's recovery after a crash included.
inline constexpr std::chrono::seconds kPatience{60};
inline constexpr std::chrono::milliseconds kPollInterval{20};

// Whom a file of the package account belongs to: empty unless this process is root, because nobody
// else can give files away, and needs to.
std::optional<Owner> PackageOwner();

// The folder of all homes, as the system names it, as its link names it, and last with all links
// resolved; the last two are the same where the disk that it leads to is away. Empty without it.
std::vector<std::string> HomesFolders();

// Registers the folder of all homes as a share, "homes" where that name is free: songs of personal
// libraries are shown by share paths.
Outcome ShareHomes();

// Keeps other processes from changing the root's settings and its cluster for the length of a
// scope. The lock is on a folder that only the package's account and root can open, so nothing is
// left behind and nobody else can hold it.
class RootLock {
  public:
    RootLock();
    // False when it could not be had in time; Problem() tells why.
    explicit operator bool() const { return held_; }
    Outcome Problem() const;

  private:
    UniqueFd folder_;
    bool held_ = false;
    int error_ = 0;
};

}  // namespace varn::host
