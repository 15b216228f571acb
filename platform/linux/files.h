// Whole reads.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <string>

#include "varn/descriptor.h"
#include "varn/handles.h"

namespace varn {

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
