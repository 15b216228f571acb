// The small copy of a cover that is kept in the song's extended-attribute folder.
#include <fcntl.h>
#include <pthread.h>
#include <sys/random.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

#include "misc/converter.h"
#include "misc/places.h"
#include "misc/source.h"
#include "support/boundary.h"
#include "support/fd.h"
#include "support/log.h"
#include "tonvale/media.h"
#include "varn/base.h"
#include "varn/descriptor.h"
#include "varn/path.h"
#include "varn/run_as.h"
#include "varn/share.h"
#include "varn/systempath.h"

namespace Tonvale::misc {

namespace {

using support::Fd;
using support::Guarded;

using varn::PathBuffer;

constexpr char kScaledName[] = "VARNAUDIO_ART_NBAUDIO.jpg";
constexpr std::array kEarlierNames = {"ART_NBAUDIO.jpg", "ART:NBAUDIO.jpg"};

// The side of the copy that is kept beside a song, in pixels.
constexpr int kUsualSide = 480;

constexpr mode_t kEveryUser = 0777;
constexpr uid_t kOwner = 1024;
constexpr gid_t kOwnerGroup = 100;

// Of a picture, and of what is made of it: more than a copy may take of a disk.
constexpr off_t kMostCopied = off_t{64} << 20;

// A picture that is to be made smaller, and what is told of it.
struct Source {
    const char *path;  // for the log, and the converter's argument
    int fd;            // open for reading; -1: it cannot be read
    bool isCopied;     // the converter gets a copy of what is open, whatever is at the path by now
};

// Where a copy is to stand: a name in a folder that is held open, because an account that may write
// there could have root write elsewhere by a path.
struct Target {
    int folder;
    std::string name;
    std::string path;  // for the log
};

// When a file was modified.
std::optional<timespec> TimeAt(int folder, const char *path) {
    struct stat info = {};
    return fstatat(folder, path, &info, 0) == 0 ? std::optional(info.st_mtim) : std::nullopt;
}

bool IsLater(const timespec &a, const timespec &b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

bool IsUpToDate(const std::optional<timespec> &source, const std::optional<timespec> &scaled) {
    return source && scaled && IsLater(*scaled, *source);
}

void Remove(const Target &target) {
    if (unlinkat(target.folder, target.name.c_str(), 0) != 0 && errno != ENOENT) {
        LOG_ERROR(kSource, "Failed to unlink [%s] %m", target.path.c_str());
    }
}

// ---- making a copy ------------------------------------------------------------------------------

// Blocks the signals by which a web server or a terminal ends this process until the copy is in its
// place and the workshop is gone. The converter itself gets them all.
class EndHeldBack {
  public:
    EndHeldBack() {
        sigset_t ends;
        sigemptyset(&ends);
        for (const int signal : {SIGTERM, SIGHUP, SIGINT}) {
            sigaddset(&ends, signal);
        }
        pthread_sigmask(SIG_BLOCK, &ends, &before_);
    }
    ~EndHeldBack() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    EndHeldBack(const EndHeldBack &) = delete;
    EndHeldBack &operator=(const EndHeldBack &) = delete;

  private:
    sigset_t before_;
};

// A folder of this account alone, removed with its contents at the end of the scope. The converter
// writes there: every user may write where the result is to stand, and could have root write
// through a link.
class Workshop {
  public:
    Workshop()
        : path_(mkdtemp(name_.data()) != nullptr ? name_.data() : ""),
          folder_(path_.empty() ? -1 : open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}
    ~Workshop() {
        std::error_code ignored;
        if (!path_.empty()) {
            std::filesystem::remove_all(path_, ignored);
        }
    }
    Workshop(const Workshop &) = delete;
    Workshop &operator=(const Workshop &) = delete;

    // "" when it could not be made.
    const std::string &Path() const { return path_; }

    // The same folder, whatever has its name by now: the converter may run as its owner.
    const Fd &Folder() const { return folder_; }

  private:
    std::array<char, 32> name_ = {"/tmp/tonvale-cover-XXXXXX"};
    std::string path_;
    Fd folder_;
};

// A file that the converter wrote. Invalid for a link, or a second name of another file, which the
// converter could not have read itself.
Fd OpenWritten(int folder, const std::string &name) {
    Fd file(openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info = {};
    const bool isOwn =
        file && fstat(file.Get(), &info) == 0 && S_ISREG(info.st_mode) && info.st_nlink == 1;
    return isOwn ? std::move(file) : Fd();
}

// What the converter wrote into the workshop. It numbers the frames of an animation as
// "scaled-0.jpg", "scaled-1.jpg" and so on: the first of them then.
Fd OpenResult(const Workshop &workshop, const std::string &target) {
    const std::string extension = std::filesystem::path(target).extension();
    for (const std::string number : {"", "-0"}) {
        const std::string name = varn::kConverterResult + number + extension;
        if (Fd result = OpenWritten(workshop.Folder().Get(), name)) {
            return result;
        }
    }
    return Fd();
}

void GiveToEveryUser(int fd, const char *target) {
    if (fchmod(fd, kEveryUser) != 0) {
        LOG_ERROR(kSource, "Failed to chmod [%s] %m", target);
    }
    if (fchown(fd, kOwner, kOwnerGroup) != 0) {
        LOG_ERROR(kSource, "Failed to chown [%s] %m", target);
    }
}

// Copies a file that has at most kMostCopied bytes. The descriptor that is read from stays where it
// is. False with errno set.
bool CopyAll(int from, int to) {
    constexpr std::size_t kBlock = std::size_t{1} << 20;
    off_t at = 0;
    ssize_t copied = 0;
    while (at <= kMostCopied && (copied = sendfile(to, from, &at, kBlock)) > 0) {
    }
    if (at > kMostCopied) {
        errno = EFBIG;
    }
    return copied == 0 && at <= kMostCopied;
}

// Gives a copy of a source from the future a later time than that: it would be made anew for each
// request.
void KeepLater(int copy, const timespec &source) {
    constexpr long kSecond = 1'000'000'000;
    struct stat info = {};
    if (fstat(copy, &info) != 0 || IsLater(info.st_mtim, source)) {
        return;
    }
    const bool isLast = source.tv_nsec + 1 == kSecond;
    const timespec later = {source.tv_sec + (isLast ? 1 : 0), isLast ? 0 : source.tv_nsec + 1};
    const timespec times[] = {{0, UTIME_OMIT}, later};
    if (futimens(copy, times) != 0) {
        LOG_ERROR(kSource, "Failed to set the time of a copy %m");
    }
}

// Makes a file under a new name, which it tells. Empty with errno set.
Fd OpenFresh(int folder, std::string &name) {
    constexpr int kMostTries = 100;
    constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    Fd file;
    for (int tries = 0; tries < kMostTries && !file; ++tries) {
        std::uint64_t number = 0;
        if (getrandom(&number, sizeof number, 0) != sizeof number) {
            return file;
        }
        name = ".cover-" + std::to_string(number);
        file.Reset(openat(folder, name.c_str(), kFlags, 0600));
        if (!file && errno != EEXIST) {
            return file;
        }
    }
    return file;
}

// Finishes a copy that stands in its place: a converter that does not know the workshop writes
// there. False if there is none.
bool FinishPlaced(const Target &target, const timespec &source) {
    const Fd copy = OpenWritten(target.folder, target.name);
    if (copy) {
        KeepLater(copy.Get(), source);
        GiveToEveryUser(copy.Get(), target.path.c_str());
    }
    return static_cast<bool>(copy);
}

// Puts a copy of a file in the target's place all at once: no reader sees a part of it, and a link
// is replaced and not followed. False with errno set.
bool Place(int result, const Target &target, const timespec &source) {
    Target fresh = {target.folder, "", target.path};
    const Fd file = OpenFresh(target.folder, fresh.name);
    if (!file) {
        return false;
    }
    const bool copied = CopyAll(result, file.Get());
    if (copied) {
        KeepLater(file.Get(), source);
        GiveToEveryUser(file.Get(), target.path.c_str());
    }
    if (copied &&
        renameat(fresh.folder, fresh.name.c_str(), target.folder, target.name.c_str()) == 0) {
        return true;
    }
    const int reason = errno;
    Remove(fresh);
    errno = reason;
    return false;
}

// Nothing for a link, which is not a picture, or a pipe, which would keep the converter waiting.
// The path of a descriptor is a link to what the caller holds.
Fd OpenSource(const char *path) {
    const int follow = varn::PathOfDescriptor(path).empty() ? O_NOFOLLOW : 0;
    return Fd(open(path, O_RDONLY | follow | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

// How the log calls a path.
std::string Shown(const char *path) {
    const std::string held = varn::PathOfDescriptor(path);
    return held.empty() ? path : held;
}

// Copies the picture into the folder if the converter is to read it there, and tells when it was
// modified. Nothing for what is no file, or more than a copy may take of the folder's disk.
std::optional<timespec> Prepare(const Source &source, const std::string &folder) {
    struct stat info = {};
    if (folder.empty() || fstat(source.fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        return std::nullopt;
    }
    if (source.isCopied) {
        const std::string path = folder + "/" + varn::kConverterPicture;
        const Fd file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!file || !CopyAll(source.fd, file.Get())) {
            return std::nullopt;
        }
    }
    return info.st_mtim;
}

int LogNotConverted(const char *source, const std::string &target) {
    LOG_ERROR(kSource, "Failed to convert file [%s] to [%s]", source, target.c_str());
    return -1;
}

// A converter that writes to the place itself would fail.
int LogNotPlaced(const char *source, const std::string &target) {
    LOG_ERROR(kSource, "Failed to place [%s] %m", target.c_str());
    return LogNotConverted(source, target);
}

int Scale(const Source &source, int side, const Target &target) {
    const EndHeldBack heldBack;  // until the workshop is gone
    const Workshop workshop;
    const std::optional<timespec> time = Prepare(source, workshop.Path());
    if (!time || !Convert(source.path, side, workshop.Path(), target.path)) {
        return LogNotConverted(source.path, target.path);
    }
    if (const Fd result = OpenResult(workshop, target.path)) {
        return Place(result.Get(), target, *time) ? 0 : LogNotPlaced(source.path, target.path);
    }
    if (!FinishPlaced(target, *time)) {
        LOG_ERROR(kSource, "file not exists [%s]", target.path.c_str());
        return -1;
    }
    return 0;
}

// True for a path that the converter takes for a pattern or for a format's name and a file's, or
// that leads to a descriptor of this process alone.
bool HasMeaning(const char *path) {
    return std::strpbrk(path, "*?[]{}%:") != nullptr || !varn::PathOfDescriptor(path).empty();
}

// The same by two paths, of which the target's folder is looked up once, before the converter runs.
int ScaleByName(const char *source, int side, const char *target) {
    const std::string path(target);
    const std::size_t name = path.rfind('/') + 1;  // 0 without a slash
    const Fd folder(
        open(name > 0 ? path.substr(0, name).c_str() : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        return LogNotPlaced(source, path);
    }
    const Fd picture = OpenSource(source);
    return Scale({source, picture.Get(), HasMeaning(source)}, side,
                 {folder.Get(), path.substr(name), path});
}

// ---- the copy of a song ------------------------------------------------------------------------

// The folder of a song's attributes, held open.
struct Folder {
    Fd fd;
    std::string path;
    std::string shown;  // for the log

    Target At(const char *name) const { return {fd.Get(), name, shown + "/" + name}; }
};

// Made where it is missing; without a descriptor, with a log line, where that fails.
Folder FolderFor(const char *song, const std::string &picture) {
    PathBuffer eaDir = {};
    if (VARNEADirPath(song, eaDir.data(), eaDir.size()) != 0) {
        LOG_ERROR(kSource, "Failed to get eaDir path of [%s].[0x%04X %s:%d]", picture.c_str(),
                  VLIBCErrGet(), VLIBCErrFile(), VLIBCErrLine());
        return {};
    }
    const bool isThere = VARNEAMKDir(eaDir.data()) == 0;
    Folder folder = {Fd(isThere ? VARNEAOpenDir(eaDir.data()) : -1), eaDir.data(), eaDir.data()};
    if (!folder.fd) {
        LOG_ERROR(kSource, "Failed to create eaDir [%s].[0x%04X %s:%d]", eaDir.data(),
                  VLIBCErrGet(), VLIBCErrFile(), VLIBCErrLine());
    } else if (folder.path.starts_with("/proc/")) {
        folder.shown = varn::PathOfOpen(folder.fd.Get());
    }
    return folder;
}

// The path of a copy that is up to date, made if there is none; "" when it cannot be made. Copies
// under earlier names that are out of date go.
std::string ScaledCover(const char *song, const char *picture) {
    const std::string shown = Shown(picture);
    const Folder folder = FolderFor(song, shown);
    if (!folder.fd) {
        return "";
    }
    const Fd open = OpenSource(picture);
    const std::optional<timespec> time = TimeAt(AT_FDCWD, picture);
    const auto isUpToDate = [&](const char *name) {
        return IsUpToDate(time, TimeAt(folder.fd.Get(), name));
    };
    if (isUpToDate(kScaledName)) {
        return folder.path + "/" + kScaledName;
    }
    for (const char *name : kEarlierNames) {
        if (isUpToDate(name)) {
            return folder.path + "/" + name;
        }
        Remove(folder.At(name));
    }
    const Source source = {shown.c_str(), open.Get(), true};
    return Scale(source, kUsualSide, folder.At(kScaledName)) == 0 ? folder.path + "/" + kScaledName
                                                                  : "";
}

// False, with a log line, when one of the arguments is missing.
bool IsGoodCall(std::initializer_list<const char *> arguments) {
    for (const char *argument : arguments) {
        if (argument == nullptr) {
            LOG_ERROR(kSource, "Bad parameters.");
            return false;
        }
    }
    return true;
}

}  // namespace

}  // namespace Tonvale::misc

int VARNAudioGetScaleCoverPath(const char *song, const char *source, char *buffer,
                               int size) noexcept {
    using namespace Tonvale::misc;
    if (!IsGoodCall({song, source, size < 0 ? nullptr : buffer})) {
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
        const std::string path = ScaledCover(song, source);
        if (path.empty()) {
            return -1;
        }
        std::snprintf(buffer, static_cast<std::size_t>(size), "%s", path.c_str());
        return 0;
    });
}

int VARNAudioCheckScaleArt(const char *source, const char *scaled) noexcept {
    using namespace Tonvale::misc;
    if (!IsGoodCall({source, scaled})) {
        return 0;
    }
    return Guarded(kSource, 0, [&] {
        const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
        return IsUpToDate(TimeAt(AT_FDCWD, source), TimeAt(AT_FDCWD, scaled)) ? 1 : 0;
    });
}

int VARNAudioScaleImage(const char *source, const char *target) noexcept {
    return VARNAudioScaleImageTo(source, target, Tonvale::misc::kUsualSide);
}

int VARNAudioScaleImageTo(const char *source, const char *target, int side) noexcept {
    using namespace Tonvale::misc;
    if (!IsGoodCall({source, side > 0 ? target : nullptr})) {
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
        return ScaleByName(source, side, target);
    });
}

void VARNAudioRemoveFilesByGlob(const char *pattern) noexcept {
    using namespace Tonvale::misc;
    if (!IsGoodCall({pattern})) {
        return;
    }
    Guarded(kSource, [&] {
        const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
        const Matches matches(pattern);
        for (const char *path : matches.Names()) {
            if (unlink(path) != 0) {
                LOG_ERROR(kSource, "Failed to unlink [%s] %m", path);
            }
        }
    });
}
