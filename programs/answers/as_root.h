// Root's rights for the length of a scope.
#pragma once

#include <sys/types.h>

namespace tonvale_answers {

// Takes root's rights where the process may have them, and goes back to the ids before; a process
// that cannot give them back ends.
class AsRoot {
  public:
    AsRoot();
    ~AsRoot();
    AsRoot(const AsRoot &) = delete;
    AsRoot &operator=(const AsRoot &) = delete;

  private:
    uid_t uid_;
    gid_t gid_;
};

}  // namespace tonvale_answers
