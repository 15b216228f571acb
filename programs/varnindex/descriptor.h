// Descriptors, and what errno says about them.
#pragma once

#include <cerrno>
#include <string>
#include <system_error>

#include "varn/descriptor.h"

namespace varnindex {

using Descriptor = varn::UniqueFd;

// What errno says about `what`.
inline std::system_error SystemError(const std::string &what) {
    return {errno, std::generic_category(), what};
}

}  // namespace varnindex
