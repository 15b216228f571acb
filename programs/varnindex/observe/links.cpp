#include "varnindex/observe/links.h"

#include <sys/stat.h>

#include <filesystem>
#include <string_view>
#include <system_error>

#include "varnindex/observe/file_names.h"
#include "varnindex/observe/walk.h"

namespace varnindex {
namespace {

namespace fs = std::filesystem;

// The path with `place` instead of `above`, which it is or lies below.
std::string Transplanted(const std::string &path, const std::string &above,
                         const std::string &place) {
    const std::string_view rest = std::string_view(path).substr(above == "/" ? 0 : above.size());
    return place == "/" && !rest.empty() ? std::string(rest) : place + std::string(rest);
}

// Calls `stop` with each path between the root (which is none of them) and `path`, downwards, until
// it says so. False when it never does.
template <typename Stop>
bool AnyBelow(const std::string &root, const std::string &path, const Stop &stop) {
    std::size_t end = root == "/" ? 0 : root.size();
    while (end < path.size()) {
        end = std::min(path.find('/', end + 1), path.size());
        if (stop(path.substr(0, end))) {
            return true;
        }
    }
    return false;
}

}  // namespace

RealRoots::RealRoots(const std::vector<std::string> &roots) {
    for (const std::string &root : roots) {
        std::error_code error;
        const std::string real = fs::canonical(root, error);
        struct stat info {};
        if (!error && ::stat(root.c_str(), &info) == 0) {
            roots_.emplace(real, root);
            identities_.emplace(info.st_dev, info.st_ino);
        }
    }
}

std::optional<std::string> RealRoots::DirectPath(const std::string &real) const {
    for (const auto &[realRoot, root] : roots_) {
        if (IsBelow(realRoot, real) && PassedOverPart(realRoot, real).empty()) {
            return Transplanted(real, realRoot, root);
        }
    }
    return std::nullopt;
}

const std::string *LinkedFolders::RootOf(const std::string &path) const {
    for (const std::string &root : roots_) {
        if (IsBelow(root, path)) {
            return &root;
        }
    }
    return nullptr;
}

bool LinkedFolders::IsLink(const std::string &path) {
    const auto [known, isNew] = isLink_.try_emplace(path, false);
    if (isNew) {
        struct stat info {};
        known->second = ::lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode) &&
                        ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    }
    return known->second;
}

bool LinkedFolders::IsBehindLink(const std::string &path) {
    const std::string *const root = RootOf(path);
    return root != nullptr &&
           AnyBelow(*root, path, [this](const std::string &part) { return IsLink(part); });
}

bool LinkedFolders::LeavesOut(const std::string &folder) {
    const std::string *const root = RootOf(folder);
    return root != nullptr && IsBehindLink(folder) &&
           AnyBelow(*root, folder,
                    [this](const std::string &part) { return Choices().leftOut.contains(part); });
}

std::optional<std::string> LinkedFolders::LibraryPath(const std::string &path) {
    const std::string *const root = RootOf(path);
    if (root == nullptr || !LeavesOut(path)) {
        return std::nullopt;
    }
    std::string leftOut;
    AnyBelow(*root, path, [&](const std::string &part) {
        leftOut = part;
        return Choices().leftOut.contains(part);
    });
    std::error_code error;
    const std::string real = fs::canonical(leftOut, error);
    return error ? std::nullopt : Elsewhere(Transplanted(path, leftOut, real));
}

bool LinkedFolders::IsThere(const std::string &path) {
    struct stat info {};
    const std::string *const root = RootOf(path);
    const unsigned owner = homes_ ? homes_->RequiredOwner(path) : 0;
    return root != nullptr && ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           (owner == 0 || owner == info.st_uid) &&
           IsIndexedName(path.substr(path.rfind('/') + 1)) && PassedOverPart(*root, path).empty() &&
           !LeavesOut(path.substr(0, path.rfind('/')));
}

std::optional<std::string> LinkedFolders::Elsewhere(const std::string &real) {
    if (auto direct = RealRoots(roots_).DirectPath(real)) {
        return direct;
    }
    for (const auto &[link, target] : Choices().taken) {
        const bool isBelow = IsBelow(target, real) && PassedOverPart(target, real).empty();
        std::string path = isBelow ? Transplanted(real, target, link) : "";
        if (isBelow && !LeavesOut(path)) {
            return path;
        }
    }
    return std::nullopt;
}

const LinkChoices &LinkedFolders::Choices() {
    if (!choices_) {
        // Folders alone: no file is looked at.
        Walk walk(
            roots_, [](std::string_view /*name*/) { return false; }, nullptr, isStopped_);
        if (homes_) {
            walk.Heed(*homes_);
        }
        while (walk.Next()) {
        }
        choices_ = walk.TakeLinks();
    }
    return *choices_;
}

}  // namespace varnindex
