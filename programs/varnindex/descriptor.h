// Descriptors, and what errno says about them.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <system_error>

#include "varn/descriptor.h"

namespace varnindex {

using Descriptor = varn::UniqueFd;

// Opens a regular file without waiting for anything. None with errno set; EINVAL for anything but a
// regular file. `flags` are added to those that every file gets.
inline Descriptor OpenPlain(const std::string &path, int flags, struct stat &info,
                            int folder = AT_FDCWD) {
    Descriptor file(::openat(folder, path.c_str(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (file && (::fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode))) {
        file = Descriptor();
        errno = EINVAL;
    }
    return file;
}

// What a file holds, from its beginning; none with errno set, which is EFBIG for more than `most`
// bytes.
inline std::optional<std::string> ReadWhole(const Descriptor &file, std::size_t most) {
    std::string text;
    std::array<char, 16384> block;
    for (;;) {
        const ssize_t got =
            ::pread(file.Get(), block.data(), block.size(), static_cast<off_t>(text.size()));
        if (got == 0) {
            return text;
        }
        if (got > 0) {
            text.append(block.data(), static_cast<std::size_t>(got));
        }
        if (text.size() > most) {
            errno = EFBIG;
            return std::nullopt;
        }
        if (got < 0 && errno != EINTR) {
            return std::nullopt;
        }
    }
}

// What errno says about `what`.
inline std::system_error SystemError(const std::string &what) {
    return {errno, std::generic_category(), what};
}

}  // namespace varnindex
