// File descriptors that close themselves, and whole writes.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

namespace varn {

class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd &operator=(UniqueFd &&other) noexcept {
        Reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~UniqueFd() { Reset(); }

    explicit operator bool() const { return fd_ >= 0; }
    int Get() const { return fd_; }
    int Release() { return std::exchange(fd_, -1); }
    // Closes what it holds; errno stays, so that a failure on the way out keeps its reason.
    void Reset(int fd = -1) {
        if (fd_ >= 0) {
            const int saved = errno;
            close(fd_);
            errno = saved;
        }
        fd_ = fd;
    }

  private:
    int fd_ = -1;
};

// Writes all of a text. False with errno set.
inline bool WriteAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t put = write(fd, text.data(), text.size());
        if (put < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

}  // namespace varn
