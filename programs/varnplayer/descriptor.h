// An owner for descriptors.
#pragma once

#include <unistd.h>

#include <utility>

namespace varnplayer {

// A descriptor that closes itself.
class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    int Get() const { return fd_; }
    int Release() { return std::exchange(fd_, -1); }

  private:
    int fd_;
};

}  // namespace varnplayer
