#include "linux/keyfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "linux/error.h"
#include "linux/files.h"
#include "linux/keytext.h"
#include "linux/replace_file.h"
#include "varn/base.h"
#include "varn/keyfile.h"
#include "varn/path.h"

namespace varn {

namespace {

constexpr std::size_t kMostBytes = 16u << 20;  // settings; anything larger is some other file
constexpr mode_t kNewFileMode = 0644;

bool IsRegular(const struct stat &status) {
    if (S_ISREG(status.st_mode)) {
        return true;
    }
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return false;
}

// Reads an open key file. A descriptor of anything but a regular file might never end.
bool ReadRegular(int fd, std::string &text) {
    struct stat status;
    return fstat(fd, &status) == 0 && IsRegular(status) && ReadToEnd(fd, kMostBytes, text);
}

// The file that a symbolic link leads to, which need not exist; the link itself is to stay. "" with
// errno set when links lead in a circle.
std::string BehindLinks(std::string file) {
    constexpr int kMostLinks = 40;  // as the kernel has it
    for (int links = 0; links < kMostLinks; ++links) {
        varn::PathBuffer target;
        const ssize_t length = readlink(file.c_str(), target.data(), target.size());
        if (length < 0) {
            return file;  // no link, or nothing there: opening it tells
        }
        const std::string_view to(target.data(), static_cast<std::size_t>(length));
        file = to.starts_with('/') ? std::string(to) : varn::FolderOf(file).append("/").append(to);
    }
    errno = ELOOP;
    return {};
}

// A key file to edit.
struct Place {
    int folder;  // that the name counts from, as of openat(2)
    std::string name;
    // Others may write to the folder: nobody may lead the edit elsewhere with a link, or hold it
    // up.
    bool isGuarded;
    std::chrono::milliseconds patience;
};

// When an edit gives up waiting for others. An account that may only read a file can lock it.
class Deadline {
  public:
    explicit Deadline(const Place &place) : end_(Clock::now() + place.patience) {}

    // True, with errno set, when the time is over.
    bool IsOver() const {
        if (Clock::now() < end_) {
            return false;
        }
        errno = ETIMEDOUT;
        return true;
    }

  private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point end_;
};

enum class Step { kDone, kFailed, kAgain };

// Puts a text in the place of a file, or of none (`like` null; kAgain when there is one by now).
Step Replace(const Place &place, std::string_view text, const struct stat *like) {
    if (text.size() > kMostBytes) {
        errno = EFBIG;  // nothing is written that could not be read back
        return Step::kFailed;
    }
    // Root must not make a program of what somebody else has put there.
    const mode_t modeBits = place.isGuarded ? 0777 : 07777;
    const mode_t mode = like != nullptr ? like->st_mode & modeBits : kNewFileMode;
    const auto owner = like != nullptr ? FileOwner{like->st_uid, like->st_gid} : FileOwner{};
    if (ReplaceFileAt(place.folder, place.name, text, mode, like != nullptr ? &owner : nullptr,
                      like == nullptr)) {
        return Step::kDone;
    }
    return like == nullptr && errno == EEXIST ? Step::kAgain : Step::kFailed;
}

// Waits for a lock against other writers. False with errno set.
bool Lock(int fd, const Deadline &deadline) {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    while (fcntl(fd, F_OFD_SETLK, &lock) != 0) {
        if ((errno != EAGAIN && errno != EACCES && errno != EINTR) || deadline.IsOver()) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

// Locks an open key file against other writers. kAgain: it was replaced while this one waited.
Step LockCurrent(int fd, const Place &place, const Deadline &deadline, struct stat &status) {
    if (fstat(fd, &status) != 0 || !IsRegular(status) || !Lock(fd, deadline) ||
        fstat(fd, &status) != 0) {
        return Step::kFailed;
    }
    struct stat now;
    if (fstatat(place.folder, place.name.c_str(), &now,
                place.isGuarded ? AT_SYMLINK_NOFOLLOW : 0) != 0) {
        return errno == ENOENT ? Step::kAgain : Step::kFailed;
    }
    const bool same = now.st_dev == status.st_dev && now.st_ino == status.st_ino;
    return same ? Step::kDone : Step::kAgain;
}

Step Unlink(const Place &place) {
    const bool isGone = unlinkat(place.folder, place.name.c_str(), 0) == 0 || errno == ENOENT;
    return isGone ? Step::kDone : Step::kFailed;
}

// Reads, edits and replaces a key file once. Every writer locks the file that it is about to
// replace, so that no key set by another one in the meantime is lost. One that is missing is made
// when `edit` makes a text of nothing; where there are others, one without a text is removed.
template <typename Edit>
Step EditOnce(const Place &place, const Deadline &deadline, const Edit &edit) {
    const int follow = place.isGuarded ? O_NOFOLLOW : 0;
    const UniqueFd fd(openat(place.folder, place.name.c_str(),
                             O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | follow));
    if (!fd) {
        if (errno != ENOENT) {
            return Step::kFailed;
        }
        const std::string made = edit(std::string());
        return made.empty() ? Step::kDone : Replace(place, made, nullptr);
    }
    struct stat status;
    const Step locked = LockCurrent(fd.Get(), place, deadline, status);
    if (locked != Step::kDone) {
        return locked;
    }
    std::string text;
    if (!ReadRegular(fd.Get(), text)) {
        return Step::kFailed;
    }
    const std::string edited = edit(text);
    if (edited.empty() && place.isGuarded) {
        return Unlink(place);
    }
    return edited == text ? Step::kDone : Replace(place, edited, &status);
}

template <typename Edit>
int EditPlace(const Place &place, const Edit &edit) {
    const Deadline deadline(place);
    Step step = place.name.empty() ? Step::kFailed : EditOnce(place, deadline, edit);
    while (step == Step::kAgain) {
        step = deadline.IsOver() ? Step::kFailed : EditOnce(place, deadline, edit);
    }
    if (step == Step::kFailed) {
        SetSystemError();
        return -1;
    }
    return 0;
}

template <typename Edit>
int EditFile(const char *path, const Edit &edit) {
    constexpr std::chrono::seconds kPatience(30);
    return Guarded(-1, [&] {
        return EditPlace({AT_FDCWD, BehindLinks(path), false, kPatience}, edit);
    });
}

template <typename Edit>
int EditAt(int folder, const char *name, int milliseconds, const Edit &edit) {
    const std::chrono::milliseconds patience(milliseconds);
    return Guarded(-1, [&] { return EditPlace({folder, name, true, patience}, edit); });
}

// False, with errno and the error state set, for what a caller should not have passed.
bool Check(bool isGood) {
    if (!isGood) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        errno = EINVAL;
    }
    return isGood;
}

bool IsGoodKey(const char *file, const char *key) {
    return Check(NonEmptyStr(file) && key != nullptr && keytext::IsValidKey(key));
}

bool IsGoodValue(const char *value) {
    return Check(value != nullptr);
}

// A name with a slash would lead into other folders.
bool IsGoodName(std::string_view name) {
    return Check(name.find('/') == name.npos && name != "." && name != "..");
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
    if (!varn::IsGoodKey(file, key) || !varn::IsGoodValue(value)) {
        return -1;
    }
    return varn::EditFile(
        file, [&](const std::string &text) { return varn::keytext::Set(text, key, value); });
}

int VLIBCFileRemoveKey(const char *file, const char *key) {
    if (!varn::IsGoodKey(file, key)) {
        return -1;
    }
    return varn::EditFile(
        file, [&](const std::string &text) { return varn::keytext::Remove(text, key); });
}

int VLIBCFileSetKeyValueAt(int folder, const char *name, const char *key, const char *value,
                           int milliseconds) {
    if (!varn::IsGoodKey(name, key) || !varn::IsGoodValue(value) || !varn::IsGoodName(name)) {
        return -1;
    }
    return varn::EditAt(folder, name, milliseconds, [&](const std::string &text) {
        return varn::keytext::Set(text, key, value);
    });
}

int VLIBCFileRemoveKeyAt(int folder, const char *name, const char *key, int milliseconds) {
    if (!varn::IsGoodKey(name, key) || !varn::IsGoodName(name)) {
        return -1;
    }
    return varn::EditAt(folder, name, milliseconds,
                        [&](const std::string &text) { return varn::keytext::Remove(text, key); });
}
