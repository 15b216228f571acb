// Folders and files that are whole or not there, for preparing a root.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "linux/files.h"
#include "varn/host.h"
#include "varn/replace_file.h"

namespace varn::host {

using Owner = FileOwner;

// "cannot DOING PATH: " and the words of errno.
inline Outcome Failed(std::string_view doing, const std::string &path) {
    return Outcome::Problem("cannot " + std::string(doing) + " " + path + ": " +
                            std::strerror(errno));
}

// A folder, but no link to one, which the owner of the folder above may have put there. Empty with
// errno set.
inline UniqueFd OpenFolder(const std::string &path) {
    return UniqueFd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// Makes a folder, with its mode whatever the umask, and those above it with 0755. With an owner it
// belongs to him afterwards, unless it was there before and is another account's already, or a
// link.
inline Outcome MakeFolder(const std::string &path, std::optional<Owner> owner = std::nullopt,
                          mode_t mode = 0755) {
    struct stat info {};
    if (stat(path.c_str(), &info) == 0) {
        if (!S_ISDIR(info.st_mode)) {
            return Outcome::Problem(path + " is in the way: it is a file, not a folder");
        }
    } else {
        if (errno != ENOENT) {
            return Failed("look at", path);
        }
        if (Outcome done = MakeFolder(std::filesystem::path(path).parent_path()); !done) {
            return done;
        }
        // Another process may be preparing the same root.
        const bool made = mkdir(path.c_str(), mode) == 0 || errno == EEXIST;
        const UniqueFd folder = made ? OpenFolder(path) : UniqueFd();
        if (!folder || fchmod(folder.Get(), mode) != 0) {
            return Failed("make the folder", path);
        }
    }
    const UniqueFd folder = owner && owner->uid != 0 ? OpenFolder(path) : UniqueFd();
    if (folder && fstat(folder.Get(), &info) == 0 && info.st_uid == 0 &&
        fchown(folder.Get(), owner->uid, owner->gid) != 0) {
        return Failed("give away", path);
    }
    return Outcome::Good();
}

// Replaces a file whole (varn/replace_file.h). Without an owner a file that was there stays its
// owner's.
inline Outcome WriteFile(const std::string &path, std::string_view text, mode_t mode,
                         std::optional<Owner> owner = std::nullopt) {
    struct stat before {};
    if (!owner && geteuid() == 0 && stat(path.c_str(), &before) == 0) {
        owner = Owner{before.st_uid, before.st_gid};
    }
    return ReplaceFile(path, text, mode, owner ? &*owner : nullptr) ? Outcome::Good()
                                                                    : Failed("write", path);
}

// The text of a file from `offset` on. Empty with errno set; EFBIG for more than 16 MiB.
inline std::optional<std::string> ReadTextFile(const std::string &path, off_t offset = 0) {
    constexpr std::size_t kLimit = std::size_t{16} << 20;
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    if (!fd || lseek(fd.Get(), offset, SEEK_SET) < 0 || !ReadToEnd(fd.Get(), kLimit, text)) {
        return std::nullopt;
    }
    return text;
}

}  // namespace varn::host
