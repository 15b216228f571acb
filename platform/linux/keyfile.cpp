#include "linux/keyfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "linux/error.h"
#include "linux/files.h"
#include "linux/keytext.h"
#include "varn/base.h"
#include "varn/keyfile.h"

namespace varn {

namespace {

constexpr std::size_t kMostBytes = 16u << 20;  // settings; anything larger is some other file
constexpr mode_t kNewFileMode = 0644;

// Reads an open key file. A descriptor of anything but a regular file might never end.
bool ReadRegular(int fd, std::string &text) {
    struct stat status;
    if (fstat(fd, &status) != 0) {
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    return ReadToEnd(fd, kMostBytes, text);
}

// The folder of a file, with a slash at its end.
std::string FolderOf(const std::string &file) {
    const std::size_t slash = file.rfind('/');
    return slash == file.npos ? "./" : file.substr(0, slash + 1);
}

// The file behind a symbolic link, which need not exist; the link itself is to stay. "" with errno
// set when links lead in a circle.
std::string BehindLinks(std::string file) {
    constexpr int kMostLinks = 40;  // as the kernel has it
    for (int links = 0; links < kMostLinks; ++links) {
        char target[PATH_MAX];
        const ssize_t length = readlink(file.c_str(), target, sizeof target);
        if (length < 0) {
            return file;  // no link, or nothing there: opening it tells
        }
        const std::string_view to(target, static_cast<std::size_t>(length));
        file = to.starts_with('/') ? std::string(to) : FolderOf(file).append(to);
    }
    errno = ELOOP;
    return {};
}

// A file on its way to replacing another one: removed again unless that happens.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string &folder) : path_(folder + ".keyfile.tmpXXXXXX") {
        fd_.Reset(mkostemp(path_.data(), O_CLOEXEC));
    }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;
    ~TemporaryFile() {
        if (fd_ && !moved_) {
            const int saved = errno;
            unlink(path_.c_str());
            errno = saved;
        }
    }

    // Fills it, with the owner and mode of the file it replaces, if there is one; all of it is on
    // the disk afterwards. False with errno set.
    bool Fill(std::string_view text, const struct stat *like) {
        if (!fd_ || !WriteAll(fd_.Get(), text)) {
            return false;
        }
        // The owner first: changing it takes set-id bits away.
        if (like != nullptr && !TakeOwner(*like)) {
            return false;
        }
        const mode_t mode = like != nullptr ? like->st_mode & 07777 : kNewFileMode;
        return fchmod(fd_.Get(), mode) == 0 && fsync(fd_.Get()) == 0;
    }

    // Takes the place of `file`; with `onlyNew` never that of a file that is there (EEXIST).
    bool MoveTo(const std::string &file, bool onlyNew) {
        const unsigned flags = onlyNew ? RENAME_NOREPLACE : 0;
        moved_ = renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, file.c_str(), flags) == 0;
        if (!moved_ && onlyNew && (errno == EINVAL || errno == ENOSYS)) {
            // A file system without that flag: two first writers may then lose one of the keys.
            moved_ = rename(path_.c_str(), file.c_str()) == 0;
        }
        return moved_;
    }

  private:
    bool TakeOwner(const struct stat &like) {
        struct stat own;
        if (fstat(fd_.Get(), &own) != 0) {
            return false;
        }
        return (own.st_uid == like.st_uid && own.st_gid == like.st_gid) ||
               fchown(fd_.Get(), like.st_uid, like.st_gid) == 0;
    }

    std::string path_;
    UniqueFd fd_;
    bool moved_ = false;
};

enum class Step { kDone, kFailed, kAgain };

// Puts a text in the place of a file, or of none (`like` null; kAgain when there is one by now).
Step Replace(const std::string &file, std::string_view text, const struct stat *like) {
    if (text.size() > kMostBytes) {
        errno = EFBIG;  // nothing is written that could not be read back
        return Step::kFailed;
    }
    TemporaryFile temporary(FolderOf(file));
    if (temporary.Fill(text, like) && temporary.MoveTo(file, like == nullptr)) {
        return Step::kDone;
    }
    return like == nullptr && errno == EEXIST ? Step::kAgain : Step::kFailed;
}

// Locks an open key file against other writers. kAgain: it was replaced while this one waited.
Step LockCurrent(int fd, const std::string &file, struct stat &status) {
    // A lock that takes write access, so that somebody who may only read cannot hold writers up.
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    while (fcntl(fd, F_OFD_SETLKW, &lock) != 0) {
        if (errno != EINTR) {
            return Step::kFailed;
        }
    }
    struct stat now;
    if (fstat(fd, &status) != 0) {
        return Step::kFailed;
    }
    if (stat(file.c_str(), &now) != 0) {
        return errno == ENOENT ? Step::kAgain : Step::kFailed;
    }
    const bool same = now.st_dev == status.st_dev && now.st_ino == status.st_ino;
    return same ? Step::kDone : Step::kAgain;
}

// Reads, edits and replaces a key file once. Every writer locks the file that it is about to
// replace, so that no key set by another one in the meantime is lost.
template <typename Edit>
Step EditOnce(const std::string &file, bool create, const Edit &edit) {
    const UniqueFd fd(open(file.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!fd) {
        if (errno != ENOENT) {
            return Step::kFailed;
        }
        return create ? Replace(file, edit(std::string()), nullptr) : Step::kDone;
    }
    struct stat status;
    if (const Step locked = LockCurrent(fd.Get(), file, status); locked != Step::kDone) {
        return locked;
    }
    std::string text;
    if (!ReadRegular(fd.Get(), text)) {
        return Step::kFailed;
    }
    const std::string edited = edit(text);
    return edited == text ? Step::kDone : Replace(file, edited, &status);
}

template <typename Edit>
int EditFile(const char *path, bool create, const Edit &edit) {
    return Guarded(-1, [&] {
        const std::string file = BehindLinks(path);
        Step step = file.empty() ? Step::kFailed : Step::kAgain;
        while (step == Step::kAgain) {
            step = EditOnce(file, create, edit);
        }
        if (step == Step::kFailed) {
            SetSystemError();
            return -1;
        }
        return 0;
    });
}

bool IsGoodKey(const char *file, const char *key) {
    if (!NonEmptyStr(file) || key == nullptr || !keytext::IsValidKey(key)) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        errno = EINVAL;
        return false;
    }
    return true;
}

}  // namespace

std::optional<std::string> ReadKeyFile(const std::string &file) {
    const UniqueFd fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    std::string text;
    if (!fd || !ReadRegular(fd.Get(), text)) {
        SetSystemError();
        return std::nullopt;
    }
    return text;
}

std::optional<std::string> ReadKeyValue(const std::string &file, std::string_view key) {
    const auto text = ReadKeyFile(file);
    if (!text) {
        return std::nullopt;
    }
    auto value = keytext::Find(*text, key);
    if (!value) {
        varn::SetError(VLIB_ERR_NOT_FOUND);
    }
    return value;
}

}  // namespace varn

int VLIBCFileGetKeyValue(const char *file, const char *key, char *out, int outSize) {
    if (out != nullptr && outSize > 0) {
        out[0] = '\0';
    }
    if (!NonEmptyStr(file) || !NonEmptyStr(key) || out == nullptr || outSize <= 0) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        const auto value = varn::ReadKeyValue(file, key);
        if (!value) {
            return -1;
        }
        // A damaged file may hold a NUL, which ends the value for every reader of C strings.
        const std::size_t length = std::min({value->find('\0'), value->size(), outSize - 1UL});
        std::memcpy(out, value->data(), length);
        out[length] = '\0';
        return static_cast<int>(length);
    });
}

int VLIBCFileSetKeyValue(const char *file, const char *key, const char *value) {
    if (!varn::IsGoodKey(file, key)) {
        return -1;
    }
    if (value == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::EditFile(
        file, true, [&](const std::string &text) { return varn::keytext::Set(text, key, value); });
}

int VLIBCFileRemoveKey(const char *file, const char *key) {
    if (!varn::IsGoodKey(file, key)) {
        return -1;
    }
    return varn::EditFile(
        file, false, [&](const std::string &text) { return varn::keytext::Remove(text, key); });
}
