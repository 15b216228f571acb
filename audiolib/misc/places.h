// Whom the work on covers is done as, where, and on which names.
#pragma once

#include <glob.h>
#include <sys/types.h>

#include <span>

#include "support/fd.h"

namespace Tonvale::misc {

// Runs as root from here on, until somebody else is switched to. Where the process may not switch at
// all it stays what it is. A refused switch is logged; what follows then shows as files that cannot
// be come at.
void BecomeRoot() noexcept;

// Runs as the package's account at the end of the scope, whoever the process ran as before; as whom
// it did where there is no such account. A process that can be neither ends.
class ThenPackageUser {
  public:
    ThenPackageUser() noexcept;
    ~ThenPackageUser();
    ThenPackageUser(const ThenPackageUser &) = delete;
    ThenPackageUser &operator=(const ThenPackageUser &) = delete;

  private:
    uid_t uid_;
    gid_t gid_;
};

// Both: as root for the length of the scope.
class RootThenPackageUser : public ThenPackageUser {
  public:
    RootThenPackageUser() noexcept { BecomeRoot(); }
};

// True when the process is in a folder that it can come back to; logged otherwise.
bool HasCurrentFolder() noexcept;

// Is in another folder for the length of a scope. Coming back needs the rights of going.
class Visit {
  public:
    explicit Visit(const char *folder) noexcept;
    explicit Visit(const support::Fd &folder) noexcept;
    ~Visit();
    Visit(const Visit &) = delete;
    Visit &operator=(const Visit &) = delete;

    // False when the process stayed where it is.
    explicit operator bool() const noexcept { return there_; }

  private:
    support::Fd back_;
    bool there_;
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
