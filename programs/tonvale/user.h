// The accounts that a verb works for and under.
#pragma once

#include <sys/types.h>

#include <string>

namespace tonvale_cli {

// The names of the root's accounts, for a message; "" for a real installation's, which may be too
// many to list.
std::string KnownUsers();

// Brings the effective ids back at the end of a scope: calls that write playlists or ratings leave the
// process running as the package's account.
class SameAccountAfter {
  public:
    SameAccountAfter();
    ~SameAccountAfter();
    SameAccountAfter(const SameAccountAfter &) = delete;
    SameAccountAfter &operator=(const SameAccountAfter &) = delete;

  private:
    uid_t uid_;
    gid_t gid_;
};

}  // namespace tonvale_cli
