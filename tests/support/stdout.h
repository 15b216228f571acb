// What is written to standard output, into memory.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace tonvale_test {

// Standard output of this process, for the length of a scope.
class CapturedStdout {
  public:
    CapturedStdout()
        : memory_(memfd_create("stdout", MFD_CLOEXEC)), saved_(fcntl(1, F_DUPFD_CLOEXEC, 3)) {
        std::fflush(stdout);
        dup2(memory_, 1);
    }
    ~CapturedStdout() {
        std::fflush(stdout);
        dup2(saved_, 1);
        close(saved_);
        close(memory_);
    }
    CapturedStdout(const CapturedStdout &) = delete;
    CapturedStdout &operator=(const CapturedStdout &) = delete;

    std::string Text() const {
        std::fflush(stdout);
        std::string text(static_cast<std::size_t>(lseek(memory_, 0, SEEK_END)), '\0');
        const ssize_t got = pread(memory_, text.data(), text.size(), 0);
        text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return text;
    }

  private:
    int memory_;
    int saved_;
};

}  // namespace tonvale_test
