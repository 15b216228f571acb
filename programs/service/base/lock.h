// One writer at a time of what several programs change.
#pragma once

#include <string>

#include "service/base/failure.h"
#include "varn/descriptor.h"

namespace tonvale_service {

// A lock on a file of its own, which the kernel gives back when its holder ends. Only root and the
// package may open the file: every reader of a user's own file could hold a lock on it.
class Lock {
  public:
    // How it is held: by one alone, or by all who only look.
    enum class Kind { kWrite, kRead };

    // Throws a Failure of the given reason when the file cannot be opened, and when others held it
    // for three seconds.
    Lock(const std::string &path, Kind kind, Reason reason);

  private:
    varn::UniqueFd file_;
};

}  // namespace tonvale_service
