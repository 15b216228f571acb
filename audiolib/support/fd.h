// A file descriptor that closes itself.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Tonvale::support {

class Fd {
  public:
    Fd() = default;
    explicit Fd(int fd) : fd_(fd) {}
    Fd(Fd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd &operator=(Fd &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    // errno stays, so that a failure on the way out keeps its reason.
    ~Fd() {
        if (fd_ >= 0) {
            const int saved = errno;
            close(fd_);
            errno = saved;
        }
    }

    explicit operator bool() const { return fd_ >= 0; }
    int Get() const { return fd_; }
    int Release() { return std::exchange(fd_, -1); }

  private:
    int fd_ = -1;
};

// Writes all of a block. False with errno set.
inline bool WriteAll(int fd, const void *data, std::size_t size) {
    const char *at = static_cast<const char *>(data);
    while (size > 0) {
        const ssize_t put = write(fd, at, size);
        if (put < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        at += put;
        size -= static_cast<std::size_t>(put);
    }
    return true;
}

}  // namespace Tonvale::support
