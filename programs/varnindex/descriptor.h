// Descriptors, and what errno says about them.
#pragma once

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
