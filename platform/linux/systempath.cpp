#include "varn/systempath.h"

#include <cstdlib>
#include <filesystem>

#include "varn/path.h"

const std::string &SystemRoot() {
    static const std::string root = [] {
        const char *value = secure_getenv("TONVALE_ROOT");
        std::string path(varn::WithoutTrailingSlashes(value != nullptr ? value : ""));
        if (!path.empty() && path.front() != '/') {
            // Kept as it is where the current folder is gone: nothing is found below it then.
            std::error_code ignored;
            path = (std::filesystem::current_path(ignored) / path).string();
        }
        return path;
    }();
    return root;
}

std::string SystemPath(std::string_view fixedPath) {
    std::string path = SystemRoot();
    path += fixedPath;
    return path;
}
