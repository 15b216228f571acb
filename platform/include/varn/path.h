// Paths: room for one, and what their text tells, by whole components.
#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace varn {

// What a call that writes a path into a buffer gets.
inline constexpr std::size_t kPathSize = 4096;  // PATH_MAX
using PathBuffer = std::array<char, kPathSize>;

// A path with links resolved; "" with errno set when it leads to nothing.
inline std::string RealPath(const std::string &path) {
    PathBuffer real;
    return realpath(path.c_str(), real.data()) != nullptr ? real.data() : "";
}

// The folder that a path is in.
inline std::string FolderOf(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

// Takes the next component off the front of `path`, past repeated slashes and "."; "" at the end.
inline std::string_view TakeComponent(std::string_view &path) {
    for (;;) {
        path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
        const std::string_view component = path.substr(0, path.find('/'));
        path.remove_prefix(component.size());
        if (component != ".") {
            return component;
        }
    }
}

// True when ".." stands in the path: what such a path names depends on the links on its way, so
// that its text proves nothing about the folder it is in.
inline bool HasParentStep(std::string_view path) {
    for (auto component = TakeComponent(path); !component.empty();
         component = TakeComponent(path)) {
        if (component == "..") {
            return true;
        }
    }
    return false;
}

// What is left of an absolute path after an absolute folder: "" for the folder itself. Empty when
// the path is not in the folder, and for every path with a ".." in it.
inline std::optional<std::string_view> PathBelow(std::string_view folder, std::string_view path) {
    if (!folder.starts_with('/') || !path.starts_with('/') || HasParentStep(path)) {
        return std::nullopt;
    }
    for (auto wanted = TakeComponent(folder); !wanted.empty(); wanted = TakeComponent(folder)) {
        if (TakeComponent(path) != wanted) {
            return std::nullopt;
        }
    }
    std::string_view rest = path;
    return TakeComponent(path).empty() ? std::string_view() : rest;
}

// True for the path of something inside a folder, not for the folder itself.
inline bool LiesBelow(std::string_view folder, std::string_view path) {
    const auto rest = PathBelow(folder, path);
    return rest && !rest->empty();
}

// Without the slashes at its end; "/" becomes "".
inline std::string_view WithoutTrailingSlashes(std::string_view path) {
    return path.substr(0, path.find_last_not_of('/') + 1);
}

}  // namespace varn
