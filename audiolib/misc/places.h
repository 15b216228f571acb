// Whom the work on covers is done as, where, and on which names.
#pragma once

#include <glob.h>

#include <span>

namespace Tonvale::misc {

// Runs as root from here on, and as the package's account at the end of the scope, whoever the
// process ran as before. Where the process may not switch at all it stays what it is. A refused
// switch is logged; what follows then shows as files that cannot be come at.
class RootThenPackageUser {
  public:
    RootThenPackageUser() noexcept;
    ~RootThenPackageUser();
    RootThenPackageUser(const RootThenPackageUser &) = delete;
    RootThenPackageUser &operator=(const RootThenPackageUser &) = delete;
};

// Remembers the folder that the process is in, and brings it back there at the end of the scope.
class CurrentFolder {
  public:
    CurrentFolder() noexcept;
    ~CurrentFolder();
    CurrentFolder(const CurrentFolder &) = delete;
    CurrentFolder &operator=(const CurrentFolder &) = delete;

    // False when there is no folder to come back to; logged.
    explicit operator bool() const noexcept { return good_; }

  private:
    int fd_;
    bool good_;
};

// The names that match a pattern of glob(3), in its order; none when it fails.
class Matches {
  public:
    explicit Matches(const char *pattern, int flags = 0) noexcept;
    ~Matches() { globfree(&found_); }
    Matches(const Matches &) = delete;
    Matches &operator=(const Matches &) = delete;

    std::span<char *const> Names() const noexcept { return {found_.gl_pathv, found_.gl_pathc}; }

  private:
    glob_t found_ = {};
};

}  // namespace Tonvale::misc
