// A music player daemon of this program's own.
#pragma once

#include <sys/types.h>

#include <string>

#include "signals.h"

namespace varnplayer {

// Runs one below the root, reachable through a local socket only, for as long as the object lives.
class Engine {
  public:
    // `output` is the type of its output: "alsa", "pulse", "null" ... Throws Refused when it cannot
    // be started.
    explicit Engine(const std::string &output);
    ~Engine();
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    // True as soon as it answers, false when the program is to end before. Throws Refused when it
    // ends or does not come up.
    bool WaitUntilItAnswers(const Signals &signals);

    // True when it ended by itself.
    bool HasEnded();

    // The local socket.
    const std::string &Address() const { return socket_; }

  private:
    std::string socket_;
    pid_t process_ = -1;  // below 0: it has been reaped
};

}  // namespace varnplayer
