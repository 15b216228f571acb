// How work that takes long is asked to end.
#pragma once

#include <exception>

namespace varnindex {

// What was asked to stop has. What was written before stays, and the next scan goes on from there.
class Stopped : public std::exception {
  public:
    const char *what() const noexcept override { return "stopped"; }
};

// True when the work at hand is to end; null: never.
using StopQuestion = bool (*)();

inline void StopIfAsked(StopQuestion isStopped) {
    if (isStopped != nullptr && isStopped()) {
        throw Stopped();
    }
}

}  // namespace varnindex
