// The control socket's other end.
#pragma once

#include "commands.h"

namespace varnplayer {

// A descriptor that closes itself.
class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor();
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int Get() const { return fd_; }

  private:
    int fd_;
};

// A descriptor that becomes readable at SIGTERM or SIGINT, which do nothing else from then on.
int EndSignals();

// Answers the clients of a listening socket one after the other until `endSignals` is readable. A
// client gets two seconds for its message and as many for taking the answer.
void Serve(int listener, int endSignals, Player &player);

}  // namespace varnplayer
