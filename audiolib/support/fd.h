// The owner of a file descriptor, under the library's own names.
#pragma once

#include <string_view>

#include "varn/descriptor.h"

namespace Tonvale::support {

using Fd = varn::UniqueFd;

// Writes all of a block. False with errno set.
inline bool WriteAll(int fd, const void *data, std::size_t size) {
    return varn::WriteAll(fd, {static_cast<const char *>(data), size});
}

}  // namespace Tonvale::support
