// Where the work on covers is done, and on which names.
#pragma once

#include <glob.h>

#include <span>

#include "support/fd.h"

namespace Tonvale::misc {

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

    // True when a folder could not be read, or memory ran out.
    bool Failed() const noexcept { return status_ == GLOB_NOSPACE || status_ == GLOB_ABORTED; }
    std::span<char *const> Names() const noexcept { return {found_.gl_pathv, found_.gl_pathc}; }

  private:
    glob_t found_ = {};
    int status_;
};

}  // namespace Tonvale::misc
