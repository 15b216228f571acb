// Descriptors and streams that close themselves, and whole reads and writes.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
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

struct FileCloser {
    void operator()(std::FILE *stream) const noexcept {
        const int saved = errno;
        std::fclose(stream);
        errno = saved;
    }
};
using UniqueFile = std::unique_ptr<std::FILE, FileCloser>;

// Reads a descriptor to its end. False with errno set; EFBIG for more than `limit` bytes.
inline bool ReadToEnd(int fd, std::size_t limit, std::string &text) {
    char block[16384];
    for (;;) {
        const ssize_t got = read(fd, block, sizeof block);
        if (got == 0) {
            return true;
        }
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        if (text.size() + static_cast<std::size_t>(got) > limit) {
            errno = EFBIG;
            return false;
        }
        text.append(block, static_cast<std::size_t>(got));
    }
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
