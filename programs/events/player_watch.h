// Asks the player what it does, in a process of its own, so that no listener waits for a player
// that does not answer.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "varn/descriptor.h"

namespace tonvale_events {

class PlayerWatch {
  public:
    PlayerWatch() = default;
    ~PlayerWatch() { Run(false); }
    PlayerWatch(const PlayerWatch &) = delete;
    PlayerWatch &operator=(const PlayerWatch &) = delete;

    // Starts the process unless it runs, or ends it.
    void Run(bool isWanted);

    // To poll for reading; -1 while it does not run.
    int Pipe() const { return pipe_.Get(); }
    // The newest state that came, one line of JSON: "null" without a player. Nothing when none
    // came.
    std::optional<std::string> Read();

  private:
    pid_t child_ = -1;
    varn::UniqueFd pipe_;
    std::string text_;
};

}  // namespace tonvale_events
