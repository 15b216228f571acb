// Streams that close themselves, and whole reads.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>

#include "varn/descriptor.h"

namespace varn {

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

}  // namespace varn
