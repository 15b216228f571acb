// Paths compared as text, by whole components.
#pragma once

#include <algorithm>
#include <optional>
#include <string_view>

namespace varn {

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

// What is left of an absolute path behind an absolute folder: "" for the folder itself. Empty when
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

// Without the slashes at its end; "/" becomes "".
inline std::string_view WithoutTrailingSlashes(std::string_view path) {
    return path.substr(0, path.find_last_not_of('/') + 1);
}

}  // namespace varn
