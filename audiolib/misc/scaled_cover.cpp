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
#include <fstream>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "misc/kept_exit_status.h"
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

// A variable in which the converter looks for something, for the length of a scope, unless an
// administrator has set it.
class Variable {
  public:
    Variable(const char *name, const std::string &value)
        : name_(name), isOurs_(std::getenv(name) == nullptr) {
        setenv(name, value.c_str(), 0);
    }
    ~Variable() {
        if (isOurs_) {
            unsetenv(name_);
        }
    }
    Variable(const Variable &) = delete;
    Variable &operator=(const Variable &) = delete;

    std::string Value() const {
        const char *value = std::getenv(name_);
        return value != nullptr ? value : "";
    }

  private:
    const char *name_;
    bool isOurs_;
};

// Has the converter end by itself: the time in seconds that it may take.
class TimeLimit : public Variable {
  public:
    TimeLimit() : Variable("MAGICK_TIME_LIMIT", std::to_string(kUsualSeconds)) {}

    int Seconds() const {
        const long seconds = std::strtol(Value().c_str(), nullptr, 10);
        return seconds > 0 ? static_cast<int>(std::min<long>(seconds, kMostSeconds))
                           : kUsualSeconds;
    }
};

// Whatever a picture's name and its bytes say, it is decoded as one of these formats, by no other
// program; what the system's policy forbids and bounds holds beside that.
constexpr char kPolicy[] =
    "<policymap>"
    "<policy domain=\"delegate\" rights=\"none\" pattern=\"*\"/>"
    "<policy domain=\"coder\" rights=\"none\" pattern=\"*\"/>"
    "<policy domain=\"coder\" rights=\"read|write\" pattern=\"{BMP,GIF,JPEG,JPG,PNG,WEBP}\"/>"
    "</policymap>\n";

// False, with a log line, when the policy cannot be put into the folder.
bool WritePolicy(const std::string &folder) {
    std::ofstream policy(folder + "/policy.xml");
    policy << kPolicy;
    policy.close();
    if (!policy.good()) {
        LOG_ERROR(kSource, "Failed to write [%s/policy.xml] %m", folder.c_str());
    }
    return policy.good();
}

// The converter reads "%d" and its like in the name of what it writes as a frame's number.
std::string PlainName(std::string_view target) {
    std::string plain;
    for (const char c : target) {
        plain.append(c == '%' ? 2 : 1, c);
    }
    return plain;
}

// The folder is the converter's own: its settings stand there, and the target.
bool Convert(const char *source, const std::string &folder, const std::string &target) {
    std::array<std::string, 7> words = {"convert", "-size",          kBox, "-thumbnail", kBox,
                                        source,    PlainName(target)};
    std::array<char *, words.size() + 1> argv = {};
    for (std::size_t i = 0; i < words.size(); ++i) {
        argv[i] = words[i].data();
    }
    const TimeLimit limit;
    const Variable configuration("MAGICK_CONFIGURE_PATH", folder);
    const KeptExitStatus kept;
    return WritePolicy(folder) && VLIBCExecvWithin(SystemPath(varn::path::kConvert).c_str(),
                                                   argv.data(), limit.Seconds() + kGrace) == 0;
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

// Gives a copy of a source from the future a later time than that: it would be made anew for
// everybody who asks.
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

// Puts a copy of a file under a name all at once, in place of whatever had it: nobody sees a part
// of it, and a link is replaced and not followed. False with errno set.
bool Place(int result, const char *target, const timespec &source) {
    const std::string_view path(target);
    std::string fresh(path.substr(0, path.rfind('/') + 1));
    fresh += ".cover-XXXXXX";
    const Fd file(mkostemp(fresh.data(), O_CLOEXEC));
    if (!file) {
        return false;
    }
    const bool copied = CopyAll(result, file.Get());
    if (copied) {
        KeepLater(file.Get(), source);
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

// The time of a picture. None for a link, which is not a picture, or a pipe, which would keep the
// converter waiting.
std::optional<timespec> TimeOf(const char *source) {
    const Fd file(open(source, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat info = {};
    const bool isFile = file && fstat(file.Get(), &info) == 0 && S_ISREG(info.st_mode);
    return isFile ? std::optional(info.st_mtim) : std::nullopt;
}

int Scale(const char *source, const char *target) {
    const EndHeldBack heldBack;  // until the workshop is gone
    const Workshop workshop;
    const std::string name = workshop.Path() + "/scaled";
    const std::string extension = ExtensionOf(target);
    const std::optional<timespec> time = TimeOf(source);
    if (workshop.Path().empty() || !time || !Convert(source, workshop.Path(), name + extension)) {
        LOG_ERROR(kSource, "Failed to convert file [%s] to [%s]", source, target);
        return -1;
    }
    const Fd result = OpenResult(name, extension);
    if (result && Place(result.Get(), target, *time)) {
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
