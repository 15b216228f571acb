// The small copy of a cover that is kept in the song's extended-attribute folder.
#include <fcntl.h>
#include <pthread.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "misc/places.h"
#include "misc/source.h"
#include "support/boundary.h"
#include "support/fd.h"
#include "support/log.h"
#include "tonvale/media.h"
#include "varn/base.h"
#include "varn/process.h"
#include "varn/share.h"
#include "varn/systempath.h"

namespace Tonvale::misc {

namespace {

using support::Fd;
using support::Guarded;

using PathBuffer = std::array<char, 4096>;

constexpr char kScaledName[] = "VARNAUDIO_ART_NBAUDIO.jpg";
constexpr std::array kEarlierNames = {"ART_NBAUDIO.jpg", "ART:NBAUDIO.jpg"};

constexpr char kBox[] = "480x480>";  // fits in, and is never enlarged

constexpr mode_t kEveryUser = 0777;
constexpr uid_t kOwner = 1024;
constexpr gid_t kOwnerGroup = 100;

std::optional<struct stat> Look(const char *path) {
    struct stat info = {};
    return stat(path, &info) == 0 ? std::optional(info) : std::nullopt;
}

bool IsLater(const timespec &a, const timespec &b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

bool IsUpToDate(const char *source, const char *scaled) {
    const auto from = Look(source);
    const auto to = Look(scaled);
    return from && to && IsLater(to->st_mtim, from->st_mtim);
}

void Remove(const char *path) {
    if (unlink(path) != 0 && errno != ENOENT) {
        LOG_ERROR(kSource, "Failed to unlink [%s] %m", path);
    }
}

// ---- the converter -----------------------------------------------------------------------------

constexpr int kUsualSeconds = 60;
constexpr int kMostSeconds = 3600;
constexpr int kGrace = 2;  // what a converter that ends by itself may be late

// Has the converter end by itself: the time in seconds that it may take, in the variable in which
// it looks for that, unless an administrator has set one.
class TimeLimit {
  public:
    TimeLimit() {
        const char *set = std::getenv(kVariable);
        isOurs_ = set == nullptr;
        if (isOurs_) {
            setenv(kVariable, std::to_string(kUsualSeconds).c_str(), 0);
        } else if (const long seconds = std::strtol(set, nullptr, 10); seconds > 0) {
            seconds_ = static_cast<int>(std::min<long>(seconds, kMostSeconds));
        }
    }
    ~TimeLimit() {
        if (isOurs_) {
            unsetenv(kVariable);
        }
    }
    TimeLimit(const TimeLimit &) = delete;
    TimeLimit &operator=(const TimeLimit &) = delete;

    int Seconds() const { return seconds_; }

  private:
    static constexpr char kVariable[] = "MAGICK_TIME_LIMIT";
    bool isOurs_;
    int seconds_ = kUsualSeconds;
};

// The converter reads "%d" and its like in the name of what it writes as a frame's number.
std::string PlainName(std::string_view target) {
    std::string plain;
    for (const char c : target) {
        plain.append(c == '%' ? 2 : 1, c);
    }
    return plain;
}

bool Convert(const char *source, const std::string &target) {
    std::array<std::string, 7> words = {"convert", "-size",          kBox, "-thumbnail", kBox,
                                        source,    PlainName(target)};
    std::array<char *, words.size() + 1> argv = {};
    for (std::size_t i = 0; i < words.size(); ++i) {
        argv[i] = words[i].data();
    }
    const TimeLimit limit;
    return VLIBCExecvWithin(SystemPath(varn::path::kConvert).c_str(), argv.data(),
                            limit.Seconds() + kGrace) == 0;
}

// Holds the wishes to end back that a web server or a terminal sends: a client that no longer waits
// costs neither the copy nor leaves a folder behind. The converter itself gets them all.
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

// A folder that nobody else may look into, gone at the end of the scope with all that is in it. The
// converter writes there: where the result is to stand every user may write, and would have root
// write through a link.
class Workshop {
  public:
    Workshop() : path_(mkdtemp(name_.data()) != nullptr ? name_.data() : "") {}
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

  private:
    std::array<char, 32> name_ = {"/tmp/tonvale-cover-XXXXXX"};
    std::string path_;
};

// What stands behind the last dot of a target's name, with the dot: it names the format.
std::string ExtensionOf(std::string_view target) {
    target.remove_prefix(target.rfind('/') + 1);
    const std::size_t dot = target.rfind('.');
    return std::string(dot != target.npos ? target.substr(dot) : "");
}

// What the converter wrote as NAME + EXTENSION. It numbers the frames of an animation as
// "NAME-0.jpg", "NAME-1.jpg" and so on: the first of them then. Invalid when there is neither.
Fd OpenResult(const std::string &name, const std::string &extension) {
    for (const char *number : {"", "-0"}) {
        if (Fd result(open((name + number + extension).c_str(), O_RDONLY | O_CLOEXEC)); result) {
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

bool CopyAll(int from, int to) {
    constexpr std::size_t kBlock = std::size_t{1} << 20;
    ssize_t copied = 0;
    while ((copied = sendfile(to, from, nullptr, kBlock)) > 0) {
    }
    return copied == 0;
}

// Puts a copy of a file under a name all at once, in place of whatever had it: nobody sees a part
// of it, and a link is replaced and not followed. False with errno set.
bool Place(int result, const char *target) {
    const std::string_view path(target);
    std::string fresh(path.substr(0, path.rfind('/') + 1));
    fresh += ".cover-XXXXXX";
    const Fd file(mkostemp(fresh.data(), O_CLOEXEC));
    if (!file) {
        return false;
    }
    const bool copied = CopyAll(result, file.Get());
    if (copied) {
        GiveToEveryUser(file.Get(), target);
    }
    if (copied && rename(fresh.c_str(), target) == 0) {
        return true;
    }
    const int reason = errno;
    Remove(fresh.c_str());
    errno = reason;
    return false;
}

// A link is not a picture, and a pipe would keep the converter waiting.
bool IsPlainFile(const char *source) {
    const Fd file(open(source, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat info = {};
    return file && fstat(file.Get(), &info) == 0 && S_ISREG(info.st_mode);
}

int Scale(const char *source, const char *target) {
    const EndHeldBack heldBack;  // until the workshop is gone
    const Workshop workshop;
    const std::string name = workshop.Path() + "/scaled";
    const std::string extension = ExtensionOf(target);
    if (workshop.Path().empty() || !IsPlainFile(source) || !Convert(source, name + extension)) {
        LOG_ERROR(kSource, "Failed to convert file [%s] to [%s]", source, target);
        return -1;
    }
    const Fd result = OpenResult(name, extension);
    if (result && Place(result.Get(), target)) {
        return 0;
    }
    if (result) {
        LOG_ERROR(kSource, "Failed to place [%s] %m", target);
    }
    LOG_ERROR(kSource, "file not exists [%s]", target);
    return -1;
}

// ---- the copy of a song ------------------------------------------------------------------------

// The folder for a song's copy of `source`, made where it is missing; "" with a log line.
std::string FolderFor(const char *song, const char *source) {
    PathBuffer eaDir = {};
    if (VARNEADirPath(song, eaDir.data(), eaDir.size()) != 0) {
        LOG_ERROR(kSource, "Failed to get eaDir path of [%s].[0x%04X %s:%d]", source, VLIBCErrGet(),
                  VLIBCErrFile(), VLIBCErrLine());
        return "";
    }
    if (VARNEAMKDir(eaDir.data()) != 0) {
        LOG_ERROR(kSource, "Failed to create eaDir [%s].[0x%04X %s:%d]", eaDir.data(),
                  VLIBCErrGet(), VLIBCErrFile(), VLIBCErrLine());
        return "";
    }
    return eaDir.data();
}

// The path of a copy that is up to date, made if there is none; "" when it cannot be made. Copies
// under earlier names that are out of date go.
std::string ScaledCover(const char *song, const char *source) {
    const std::string folder = FolderFor(song, source);
    if (folder.empty()) {
        return "";
    }
    const std::string scaled = folder + "/" + kScaledName;
    if (IsUpToDate(source, scaled.c_str())) {
        return scaled;
    }
    for (const char *name : kEarlierNames) {
        const std::string earlier = folder + "/" + name;
        if (IsUpToDate(source, earlier.c_str())) {
            return earlier;
        }
        Remove(earlier.c_str());
    }
    return Scale(source, scaled.c_str()) == 0 ? scaled : "";
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
        const RootThenPackageUser root;
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
    const RootThenPackageUser root;
    return IsUpToDate(source, scaled) ? 1 : 0;
}

int VARNAudioScaleImage(const char *source, const char *target) noexcept {
    using namespace Tonvale::misc;
    if (!IsGoodCall({source, target})) {
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        const RootThenPackageUser root;
        return Scale(source, target);
    });
}

void VARNAudioRemoveFilesByGlob(const char *pattern) noexcept {
    using namespace Tonvale::misc;
    if (!IsGoodCall({pattern})) {
        return;
    }
    const RootThenPackageUser root;
    const Matches matches(pattern);
    for (const char *path : matches.Names()) {
        if (unlink(path) != 0) {
            LOG_ERROR(kSource, "Failed to unlink [%s] %m", path);
        }
    }
}
