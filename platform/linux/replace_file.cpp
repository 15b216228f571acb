#include "linux/replace_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "linux/error.h"
#include "varn/descriptor.h"

namespace varn {

namespace {

// An account that may write to a folder without reading it can hold the folder, but not sync it.
UniqueFd OpenFolder(int base, const std::string &name) {
    const std::size_t slash = name.rfind('/');
    const std::string folder = slash == name.npos ? "." : name.substr(0, slash + 1);
    UniqueFd fd(openat(base, folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd && errno == EACCES) {
        fd.Reset(openat(base, folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    }
    return fd;
}

// EINVAL: a file system that does not sync folders. EBADF: one that is held without reading it.
bool SyncFolder(int folder) {
    return fsync(folder) == 0 || errno == EINVAL || errno == EBADF;
}

constexpr int kMostTries = 100;

// A file on its way to another one's name.
class TemporaryFile {
  public:
    explicit TemporaryFile(int folder)
        : folder_(folder), fd_(openat(folder, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, kMode)) {
        // Not every file system has files without a name.
        if (!fd_) {
            TakeRandomName([&](const std::string &name) {
                fd_.Reset(openat(folder_, name.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMode));
                return static_cast<bool>(fd_);
            });
        }
    }
    ~TemporaryFile() {
        if (!name_.empty()) {
            const int saved = errno;
            unlinkat(folder_, name_.c_str(), 0);
            errno = saved;
        }
    }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;

    // The owner before the mode, because changing it takes set-id bits away.
    bool Fill(std::string_view text, mode_t mode, const FileOwner *owner, bool isSynced) {
        return fd_ && WriteAll(fd_.Get(), text) && (owner == nullptr || GiveTo(*owner)) &&
               fchmod(fd_.Get(), mode) == 0 && (!isSynced || fsync(fd_.Get()) == 0);
    }

    bool MoveTo(const std::string &name, bool onlyNew) {
        return !name_.empty() ? Rename(name, onlyNew) : onlyNew ? LinkTo(name) : LinkOver(name);
    }

  private:
    static constexpr mode_t kMode = 0600;

    // Calls `take(name)` with names that nobody else knows until it takes one, which is the file's
    // from then on. False with errno set when it takes none.
    template <typename Take>
    bool TakeRandomName(const Take &take) {
        for (int tries = 0; tries < kMostTries; ++tries) {
            std::uint64_t number = 0;
            if (getrandom(&number, sizeof number, 0) != sizeof number) {
                return false;
            }
            const std::string name = ".tonvale.tmp" + std::to_string(number);
            if (take(name)) {
                name_ = name;
                return true;
            }
            if (errno != EEXIST) {
                return false;
            }
        }
        return false;
    }

    bool GiveTo(const FileOwner &owner) {
        struct stat own;
        return fstat(fd_.Get(), &own) == 0 &&
               ((own.st_uid == owner.uid && own.st_gid == owner.gid) ||
                fchown(fd_.Get(), owner.uid, owner.gid) == 0);
    }

    bool Rename(const std::string &name, bool onlyNew) {
        const unsigned flags = onlyNew ? RENAME_NOREPLACE : 0;
        if (renameat2(folder_, name_.c_str(), folder_, name.c_str(), flags) == 0) {
            name_.clear();
            return true;
        }
        // A file system that does not know the flag has links.
        return onlyNew && (errno == EINVAL || errno == ENOSYS) &&
               linkat(folder_, name_.c_str(), folder_, name.c_str(), 0) == 0;
    }

    bool LinkTo(const std::string &name) {
        const std::string open = "/proc/self/fd/" + std::to_string(fd_.Get());
        return linkat(AT_FDCWD, open.c_str(), folder_, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
    }

    // A link takes no name that is in use. So the file gets another name first, the same for each
    // writer of the file: what a killed process has left there goes with the next one. ENOENT: a
    // second writer has removed this file's name meanwhile; it cannot be linked a second time.
    // Where that name cannot be had (a folder has it, or it is too long), a random one serves.
    bool LinkOver(const std::string &name) {
        const std::string own = "." + name + ".tmp";
        for (int tries = 0; tries < kMostTries; ++tries) {
            if (LinkTo(own)) {
                name_ = own;
                const bool moved = Rename(name, false);
                if (!moved && errno == ENOENT) {
                    name_.clear();  // the name is the other writer's by now
                }
                return moved;
            }
            if (errno != EEXIST || (unlinkat(folder_, own.c_str(), 0) != 0 && errno != ENOENT)) {
                break;
            }
        }
        return TakeRandomName([&](const std::string &random) { return LinkTo(random); }) &&
               Rename(name, false);
    }

    int folder_;
    std::string name_;  // "": it has none
    UniqueFd fd_;
};

}  // namespace

bool ReplaceFileAt(int base, const std::string &name, std::string_view text, mode_t mode,
                   const FileOwner *owner, bool onlyNew, bool isSynced) {
    const UniqueFd folder = OpenFolder(base, name);
    if (!folder) {
        return false;
    }
    const std::string last = name.substr(name.rfind('/') + 1);
    for (int tries = 0; tries < kMostTries; ++tries) {
        TemporaryFile temporary(folder.Get());
        if (temporary.Fill(text, mode, owner, isSynced) && temporary.MoveTo(last, onlyNew)) {
            return !isSynced || SyncFolder(folder.Get());
        }
        if (errno != ENOENT) {
            break;
        }
    }
    return false;
}

bool ReplaceFile(const std::string &path, std::string_view text, mode_t mode,
                 const FileOwner *owner) {
    return Guarded(false, [&] { return ReplaceFileAt(AT_FDCWD, path, text, mode, owner, false); });
}

}  // namespace varn
