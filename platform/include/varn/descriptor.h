// File descriptors that close themselves, paths of what they hold, and whole writes.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "varn/path.h"

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

// A path of what this process holds open. It leads to that very file or folder, even when another
// one has taken its place. Good in this process only, and while `fd` is open.
inline std::string DescriptorPath(int fd) {
    return "/proc/self/fd/" + std::to_string(fd);
}

// Where a file or folder that is open is now, links resolved; "" when that cannot be told.
inline std::string PathOfOpen(int fd) {
    PathBuffer path;
    const ssize_t length = readlink(DescriptorPath(fd).c_str(), path.data(), path.size());
    return length > 0 && static_cast<std::size_t>(length) < path.size()
               ? std::string(path.data(), static_cast<std::size_t>(length))
               : std::string();
}

// The same for a path that DescriptorPath made; "" for all others.
inline std::string PathOfDescriptor(std::string_view path) {
    const std::string_view folder = "/proc/self/fd/";
    int fd = -1;
    if (path.starts_with(folder)) {
        path.remove_prefix(folder.size());
        const auto [end, error] = std::from_chars(path.data(), path.data() + path.size(), fd);
        fd = error == std::errc() && end == path.data() + path.size() ? fd : -1;
    }
    return fd >= 0 ? PathOfOpen(fd) : std::string();
}

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
