// The account that a verb works for.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace tonvale_cli {

// The user's id. Empty, with a message that names the known users, when there is no such user.
std::optional<uid_t> FindUser(const std::string &name);

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
