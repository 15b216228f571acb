// Songs that are streams of other servers.
#pragma once

#include <string_view>

namespace Tonvale::support {

// True for a path that begins with "http://" or "https://".
inline bool IsRemotePath(std::string_view path) {
    return path.starts_with("http://") || path.starts_with("https://");
}

}  // namespace Tonvale::support
