// A file descriptor that closes itself.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace varnindex {

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    // errno stays, so that a failure on the way out keeps its reason.
    ~Descriptor() {
        if (fd_ >= 0) {
            const int saved = errno;
            ::close(fd_);
            errno = saved;
        }
    }

    explicit operator bool() const { return fd_ >= 0; }
    int Get() const { return fd_; }

  private:
    int fd_ = -1;
};

// What errno says about `what`.
inline std::system_error SystemError(const std::string &what) {
    return {errno, std::generic_category(), what};
}

}  // namespace varnindex
