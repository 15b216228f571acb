// The signals that this program waits for.
#pragma once

#include <chrono>

#include "varn/descriptor.h"

namespace varnplayer {

// From its making on SIGTERM, SIGINT and SIGCHLD do nothing but make the descriptor readable.
class Signals {
  public:
    Signals();

    int Get() const { return fd_.Get(); }

    // Takes what has come, waiting for it up to `patience`. True once the program is to end.
    bool EndIsAsked(std::chrono::milliseconds patience = {}) const;

  private:
    varn::UniqueFd fd_;
    mutable bool ended_ = false;
};

}  // namespace varnplayer
