// Pictures, made and examined with programs of the host.
#pragma once

#include <filesystem>
#include <string>

#include "support/spawn.h"

namespace tonvale_test {

inline void Draw(const std::string &size, const std::filesystem::path &path) {
    Output({"/usr/bin/convert", "-size", size, "xc:red", path});
}

inline std::string Identify(const std::filesystem::path &path) {
    return Output({"/usr/bin/identify", "-format", "%m %wx%h", path});
}

}  // namespace tonvale_test
