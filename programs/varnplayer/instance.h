// What there may be only one of on a system.
#pragma once

#include <sys/types.h>

#include <string>

#include "varn/descriptor.h"

namespace varnplayer {

// The right to be a system's player, for the life of the object: the lock of
// "/var/run/Tonvale/player.lock". Throws Refused when somebody has it, or it cannot be had.
class Lock {
  public:
    Lock();

  private:
    varn::UniqueFd file_;
};

// The control socket, in the package's hands. Throws Refused when it cannot be made. At the end its
// file goes, unless another one has taken its place.
class ControlSocket {
  public:
    ControlSocket();
    ~ControlSocket();
    ControlSocket(const ControlSocket &) = delete;
    ControlSocket &operator=(const ControlSocket &) = delete;
    int Get() const { return listener_.Get(); }

  private:
    std::string path_;
    varn::UniqueFd listener_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

}  // namespace varnplayer
